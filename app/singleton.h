// Process-wide access to the one instance of a class that registers itself.
#pragma once

namespace winkit {

template <typename T> class singleton {
public:
    static T* instance() { return s_instance; }

protected:
    static void set(T* object) { s_instance = object; }

private:
    static inline T* s_instance = nullptr;
};

} // namespace winkit
