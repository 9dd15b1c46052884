// Whole-file and plain array allocation for the reference-counted blocks.

#include "utils/alloc_new.h"

#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <sys/stat.h>
#include <unistd.h>

namespace basekit {

namespace {

// The file's size, asked of the file opened with the access `prot` wants, so
// that a file we may not write is refused for read-write blocks. False when
// it cannot be opened or is not a regular file.
bool filesize(const char* path, e_prot_t prot, std::size_t& size)
{
    // Without waiting: a FIFO would block the open until a writer came.
    const int fd = ::open(path, (prot == prot_readwrite ? O_RDWR : O_RDONLY) | O_NONBLOCK);
    if (fd < 0)
        return false;
    struct stat st {};
    const bool ok = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
    ::close(fd);
    if (ok)
        size = static_cast<std::size_t>(st.st_size);
    return ok;
}

} // namespace

void* alloc_new::allocate(std::size_t& size, const char* path, e_prot_t prot, std::size_t /*offset*/,
                          android_app* /*app*/)
{
    if (!path)
        return new unsigned char[size];
    if (size == 0 && !filesize(path, prot, size))
        return nullptr;
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return nullptr;
    auto* data = new unsigned char[size];
    if (size > 0 && !in.read(reinterpret_cast<char*>(data), static_cast<std::streamsize>(size))) {
        delete[] data;
        return nullptr;
    }
    return data;
}

void* alloc_new::reallocate(std::size_t& size, void* old, std::size_t newsize)
{
    auto* data = new unsigned char[newsize];
    const std::size_t keep = size < newsize ? size : newsize;
    if (old && keep > 0)
        std::memcpy(data, old, keep);
    size = newsize;
    deallocate(old);
    return data;
}

void alloc_new::deallocate(void* p)
{
    delete[] static_cast<unsigned char*>(p);
}

} // namespace basekit
