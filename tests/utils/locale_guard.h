// Switches the C locale for one test and puts the previous one back.
#pragma once

#include <clocale>
#include <string>

class locale_guard {
public:
    explicit locale_guard(const char* name)
    {
        m_previous = std::setlocale(LC_ALL, nullptr);
        m_ok = std::setlocale(LC_ALL, name) != nullptr;
    }
    ~locale_guard() { std::setlocale(LC_ALL, m_previous.c_str()); }
    locale_guard(const locale_guard&) = delete;
    locale_guard& operator=(const locale_guard&) = delete;

    bool ok() const { return m_ok; }

private:
    std::string m_previous;
    bool m_ok = false;
};
