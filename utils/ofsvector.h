// ofsvector<T, A>: a refvector2 that looks at part of its block, from element
// `ofs` for `len` elements (all ones = to the end of the block). The WAVE
// reader keeps a whole sound file in one and hands out views of its chunks.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "utils/refvector2.h"

namespace basekit {

template <typename T, typename A> class ofsvector : public refvector2<T, A> {
    using base = refvector2<T, A>;

public:
    static constexpr std::uint64_t to_end = ~std::uint64_t(0);

    std::uint64_t ofs = 0;
    std::uint64_t len = to_end;

    // The base says whether a block is attached; a view may still be empty.
    bool empty() const override { return base::empty(); }

    // Elements in the view, cut to what the block holds after `ofs`.
    std::size_t size() const override
    {
        const std::size_t count = base::size();
        if (ofs >= count)
            return 0;
        return static_cast<std::size_t>(std::min<std::uint64_t>(len, count - ofs));
    }

    T* begin() override { return this->m_block ? this->m_block->data + ofs : nullptr; }
    T* end() override { return this->m_block ? begin() + size() : nullptr; }
    const T* begin() const override { return this->m_block ? this->m_block->data + ofs : nullptr; }
    const T* end() const override { return this->m_block ? begin() + size() : nullptr; }
    T& operator[](std::size_t i) override { return begin()[i]; }
    const T& operator[](std::size_t i) const override { return begin()[i]; }
    T* operator->() override { return begin(); }
    const T* operator->() const override { return begin(); }

    bool load(std::size_t count, const char* path = nullptr, e_prot_t prot = e_prot_t(0),
              std::size_t offset = 0, bool keep = false, android_app* app = nullptr) override
    {
        const bool ok = base::load(count, path, prot, offset, keep, app);
        ofs = 0;
        len = to_end;
        return ok;
    }

    // With a block: a new, unshared block of `count` elements starting with
    // the view's elements (as many as fit); the view then covers it whole.
    bool resize(std::size_t count, std::size_t offset = 0) override
    {
        if (!this->m_block)
            return base::resize(count, offset);
        auto* fresh = base::make(count, nullptr, prot_read, offset, nullptr);
        if (!fresh)
            return false;
        const std::size_t n = std::min(count, size());
        if (n > 0)
            std::memcpy(fresh->data, begin(), n * sizeof(T));
        this->release();
        this->m_block = fresh;
        ofs = 0;
        len = to_end;
        return true;
    }

    void clear() override
    {
        base::clear();
        ofs = 0;
        len = to_end;
    }
};

} // namespace basekit
