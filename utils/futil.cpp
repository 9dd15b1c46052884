// Path names. Every operation runs on the wide form of the text when the
// current locale can convert it, and on the bytes themselves when it cannot
// (say, UTF-8 names under the plain C locale), so no path is ever refused.

#include "utils/futil.h"

#include <array>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <list>
#include <strings.h>
#include <sys/stat.h>

#include "utils/strutil.h"

namespace basekit {

namespace {

template <class S> std::size_t lastsep(const S& p)
{
    for (std::size_t i = p.size(); i-- > 0;)
        if (p[i] == '/' || p[i] == '\\')
            return i;
    return S::npos;
}

template <class S> S basename_of(const S& p)
{
    const std::size_t sep = lastsep(p);
    const S name = sep == S::npos ? p : p.substr(sep + 1);
    const std::size_t dot = name.rfind('.');
    return dot == S::npos ? name : name.substr(0, dot);
}

template <class S> S dirname_of(const S& p)
{
    const std::size_t sep = lastsep(p);
    return sep == S::npos ? S() : p.substr(0, sep + 1);
}

template <class S> S replaced(S p, char from, char to)
{
    for (auto& c : p)
        if (c == static_cast<typename S::value_type>(from))
            c = to;
    return p;
}

// drive, directory, name, extension
template <class S> std::array<S, 4> parts_of(const S& p)
{
    std::array<S, 4> parts;
    S rest = p;
    const std::size_t colon = p.find(':');
    if (colon != S::npos) {
        parts[0] = p.substr(0, colon + 1);
        rest = p.substr(colon + 1);
    }
    const std::size_t sep = lastsep(rest);
    if (sep != S::npos) {
        parts[1] = rest.substr(0, sep + 1);
        rest = rest.substr(sep + 1);
    }
    const std::size_t dot = rest.rfind('.');
    parts[2] = dot == S::npos ? rest : rest.substr(0, dot);
    parts[3] = dot == S::npos ? S() : rest.substr(dot);
    return parts;
}

bool widen(const std::string& s, std::wstring& w)
{
    w = str2wstr(s);
    return !w.empty() || s.empty();
}

// Applies `f` to the wide form of `text` when there is one, else to the bytes.
template <class F> std::string onpath(const std::string& text, F f)
{
    std::wstring w;
    if (widen(text, w))
        return wstr2str(f(w));
    return f(text);
}

// Copies at most size - 1 bytes of `s` into `dst` without splitting a
// character, then a terminating zero. Returns the text bytes written.
std::size_t fitcopy(char* dst, const std::string& s, std::size_t size)
{
    if (!dst || size == 0)
        return 0;
    std::size_t n = 0;
    std::mbstate_t state{};
    while (n < s.size()) {
        std::size_t len = std::mbrlen(s.data() + n, s.size() - n, &state);
        if (len == 0 || len > s.size() - n) {   // invalid here: one byte each
            len = 1;
            state = std::mbstate_t{};
        }
        if (n + len > size - 1)
            break;
        n += len;
    }
    std::memcpy(dst, s.data(), n);
    dst[n] = '\0';
    return n;
}

bool exists(const std::string& path)
{
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0;
}

std::string joined(const std::string& dir, const std::string& name)
{
    const char last = dir.back();
    return last == '/' || last == '\\' ? dir + name : dir + '/' + name;
}

} // namespace

const char* baseptr(const char* path)
{
    return path + dirname(path).size();
}

std::string basename(const std::string& path)
{
    return onpath(path, [](const auto& p) { return basename_of(p); });
}

std::size_t basename(char* dst, const char* src, std::size_t size)
{
    return fitcopy(dst, basename(std::string(src)), size);
}

std::string dirname(const std::string& path)
{
    return onpath(path, [](const auto& p) { return dirname_of(p); });
}

std::size_t dirname(char* dst, const char* src, std::size_t size)
{
    return fitcopy(dst, dirname(std::string(src)), size);
}

int extcasecmp(const std::string& s, const char* ext)
{
    return extcasecmp(s.data(), s.size(), ext);
}

int extcasecmp(const char* s, std::size_t length, const char* ext)
{
    const std::size_t n = std::strlen(ext);
    if (length < n)
        return -1;
    return ::strncasecmp(s + length - n, ext, n);
}

std::string delimconvert(const std::string& path)
{
    return onpath(path, [](const auto& p) { return replaced(p, '/', '\\'); });
}

std::string deliminvert(const std::string& path)
{
    return onpath(path, [](const auto& p) { return replaced(p, '\\', '/'); });
}

void splitpath(const char* path, char* drive, char* dir, char* name, char* ext)
{
    char* const out[4] = {drive, dir, name, ext};
    for (char* o : out)
        if (o)
            *o = '\0';

    const std::string text(path);
    std::array<std::string, 4> parts;
    std::wstring w;
    if (widen(text, w)) {
        const auto wide = parts_of(w);
        for (std::size_t i = 0; i < 4; ++i)
            parts[i] = wstr2str(wide[i]);
    } else {
        parts = parts_of(text);
    }
    for (std::size_t i = 0; i < 4; ++i)
        fitcopy(out[i], parts[i], path_part_max);
}

char* concatpath(char* dst, const char* drive, const char* dir, const char* name, const char* ext)
{
    char* at = dst;
    for (const char* part : {drive, dir, name, ext}) {
        if (!part)
            continue;
        const std::size_t n = std::strlen(part);
        std::memmove(at, part, n);
        at += n;
    }
    *at = '\0';
    return dst;
}

void split(splitpath_t& parts, const char* path)
{
    splitpath(path, parts.drive, parts.dir, parts.name, parts.ext);
}

char* concat(char* dst, const splitpath_t& parts)
{
    return concatpath(dst, parts.drive, parts.dir, parts.name, parts.ext);
}

std::string searchpath(const std::string& name, const char* origin)
{
    if (exists(name))
        return name;
    // The program's own directory first: files shipped beside it win over
    // same-named ones elsewhere.
    std::list<std::string> dirs;
    if (origin) {
        splitpath_t parts;
        split(parts, origin);
        dirs.push_back(std::string(parts.drive) + parts.dir);
    }
    // PATH lists its directories separated by ';' here, the show's own
    // convention on every platform (a ':'-separated list reads as one entry).
    if (const char* path = std::getenv("PATH"))
        separate_token(dirs, path, ";");
    for (const std::string& dir : dirs) {
        if (dir.empty())
            continue;
        const std::string candidate = joined(dir, name);
        if (exists(candidate))
            return candidate;
    }
    return name;
}

bool need_update(const std::string& source, const std::string& target)
{
    struct stat src {};
    struct stat dst {};
    if (::stat(source.c_str(), &src) != 0)
        return false;
    if (::stat(target.c_str(), &dst) != 0)
        return true;
    if (src.st_mtim.tv_sec != dst.st_mtim.tv_sec)
        return src.st_mtim.tv_sec > dst.st_mtim.tv_sec;
    return src.st_mtim.tv_nsec > dst.st_mtim.tv_nsec;
}

} // namespace basekit
