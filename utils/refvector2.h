// refvector2<T, A>: a handle on a reference-counted block of T, made and freed
// by the allocation policy A. Copies share the block; the last one frees it.
// The count is not atomic: handles of one block belong to one thread at a time.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "utils/alloc_new.h"

namespace basekit {

template <typename T, typename A> class refvector2 {
    static_assert(std::is_trivially_copyable_v<T>, "blocks hold raw bytes");

public:
    refvector2() = default;
    refvector2(const refvector2& other) : m_block(other.m_block) { retain(); }
    refvector2(refvector2&& other) noexcept : m_block(other.m_block) { other.m_block = nullptr; }
    refvector2& operator=(const refvector2& other)
    {
        if (m_block != other.m_block) {
            release();
            m_block = other.m_block;
            retain();
        }
        return *this;
    }
    refvector2& operator=(refvector2&& other) noexcept
    {
        if (this != &other) {
            release();
            m_block = other.m_block;
            other.m_block = nullptr;
        }
        return *this;
    }
    virtual ~refvector2() { release(); }

    // True when no block is attached (an attached block may hold 0 elements).
    virtual bool empty() const { return m_block == nullptr; }
    virtual std::size_t size() const { return m_block ? m_block->count : 0; }
    virtual T* begin() { return m_block ? m_block->data : nullptr; }
    virtual T* end() { return m_block ? m_block->data + m_block->count : nullptr; }
    virtual const T* begin() const { return m_block ? m_block->data : nullptr; }
    virtual const T* end() const { return m_block ? m_block->data + m_block->count : nullptr; }
    virtual T& operator[](std::size_t i) { return m_block->data[i]; }
    virtual const T& operator[](std::size_t i) const { return m_block->data[i]; }
    virtual T* operator->() { return begin(); }
    virtual const T* operator->() const { return begin(); }

    // Attaches a new block of `count` elements, read from `path` when given
    // (count 0 takes the file's size). Unless `keep` is set the current block
    // is released first; with `keep` the old contents overwrite the start of
    // the new block. True when data was obtained; on failure a kept block
    // stays attached.
    virtual bool load(std::size_t count, const char* path = nullptr, e_prot_t prot = e_prot_t(0),
                      std::size_t offset = 0, bool keep = false, android_app* app = nullptr)
    {
        if (!keep)
            release();
        block_t* fresh = make(count, path, prot, offset, app);
        if (!fresh)
            return false;
        if (m_block) {
            std::memcpy(fresh->data, m_block->data, std::min(fresh->count, m_block->count) * sizeof(T));
            release();
        }
        m_block = fresh;
        return true;
    }

    // Resizes the block in place, so every handle sharing it sees the change;
    // without a block, attaches a new one. True when the block has data.
    virtual bool resize(std::size_t count, std::size_t offset = 0)
    {
        if (!m_block) {
            m_block = make(count, nullptr, prot_read, offset, nullptr);
            return m_block != nullptr;
        }
        m_block->data = static_cast<T*>(A::reallocate(m_block->bytes, m_block->data, count * sizeof(T)));
        m_block->count = m_block->data ? count : 0;
        return m_block->data != nullptr;
    }

    // Releases the block; the handle becomes empty.
    virtual void clear() { release(); }

protected:
    struct block_t {
        std::uint64_t refs;
        std::uint64_t count;
        std::size_t bytes;   // the policy's record: the array's size in bytes
        T* data;
    };

    // A new block with reference count 1, or null when no data was obtained.
    static block_t* make(std::size_t count, const char* path, e_prot_t prot, std::size_t offset,
                         android_app* app)
    {
        block_t* b = new block_t{1, count, count * sizeof(T), nullptr};
        b->data = static_cast<T*>(A::allocate(b->bytes, path, prot, offset, app));
        if (!b->data) {
            delete b;
            return nullptr;
        }
        b->count = b->bytes / sizeof(T);
        return b;
    }

    void retain()
    {
        if (m_block)
            ++m_block->refs;
    }

    void release()
    {
        if (m_block && --m_block->refs == 0) {
            A::deallocate(m_block->data);
            delete m_block;
        }
        m_block = nullptr;
    }

    block_t* m_block = nullptr;
};

} // namespace basekit
