// The open never waits (O_NONBLOCK), the kind is asked of the descriptor
// itself (no race with a rename), and a regular file is then read as usual.
#include "utils/regularfile.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace basekit {

const char* filekind(unsigned mode)
{
    switch (mode & S_IFMT) {
    case S_IFREG: return "a regular file";
    case S_IFDIR: return "a directory";
    case S_IFIFO: return "a FIFO";
    case S_IFCHR: return "a character device";
    case S_IFBLK: return "a block device";
    case S_IFSOCK: return "a socket";
    default: return "an unknown kind of file";
    }
}

int openregular(const char* path, std::string& reason)
{
    const int fd = ::open(path, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) {
        reason = std::string("cannot read the file (") + std::strerror(errno) + ")";
        return -1;
    }
    struct stat status {};
    if (::fstat(fd, &status) != 0 || S_ISDIR(status.st_mode)) {
        reason = std::string("cannot read the file (") + std::strerror(S_ISDIR(status.st_mode) ? EISDIR : errno) + ")";
        ::close(fd);
        return -1;
    }
    if (!S_ISREG(status.st_mode)) {
        reason = std::string("not a regular file (") + filekind(status.st_mode) + ")";
        ::close(fd);
        return -1;
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    return fd;
}

} // namespace basekit
