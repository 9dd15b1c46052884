// String and token helpers.

#include "utils/strutil.h"

#include <cstdlib>
#include <cstring>

namespace basekit {

int stringcmp(const char* s, const char* prefix)
{
    return std::strncmp(s, prefix, std::strlen(prefix));
}

void chop(std::string& s)
{
    const std::size_t keep = s.find_last_not_of("\r\n");
    s.erase(keep == std::string::npos ? 0 : keep + 1);
}

void chop2(std::string& s)
{
    static const char trailing[] = {' ', '\t', '\n', '\r', '\0'};
    const std::size_t keep = s.find_last_not_of(trailing, std::string::npos, sizeof trailing);
    s.erase(keep == std::string::npos ? 0 : keep + 1);
}

void separate_token(std::list<std::string>& out, const std::string& in, const char* delims)
{
    std::size_t start = 0;
    for (std::size_t i = 0; i < in.size(); ++i) {
        // strchr also finds the terminating zero, so a zero byte splits too.
        if (std::strchr(delims, in[i])) {
            out.push_back(in.substr(start, i - start));
            start = i + 1;
        }
    }
    if (start < in.size())
        out.push_back(in.substr(start));
}

bool separate_first_token(std::pair<std::string, std::string>& out, const std::string& in, char c)
{
    const std::size_t at = in.find(c);
    if (at == std::string::npos)
        return false;
    out.first = in.substr(0, at);
    out.second = in.substr(at + 1);
    return true;
}

void concatenate_token(std::string& out, std::list<std::string>& in, const char* delim)
{
    out.clear();
    bool first = true;
    for (const std::string& s : in) {
        if (!first)
            out.append(delim);
        out.append(s);
        first = false;
    }
}

std::wstring str2wstr(const std::string& s)
{
    std::wstring w(s.size() + 1, L'\0');
    const std::size_t n = std::mbstowcs(w.data(), s.c_str(), w.size());
    if (n == static_cast<std::size_t>(-1))
        return {};
    w.resize(n);
    return w;
}

std::string wstr2str(const std::wstring& s)
{
    // Sized by asking the conversion first: a fixed bytes-per-character guess
    // would cut UTF-8 text short.
    const std::size_t need = std::wcstombs(nullptr, s.c_str(), 0);
    if (need == static_cast<std::size_t>(-1))
        return {};
    std::string m(need + 1, '\0');
    const std::size_t n = std::wcstombs(m.data(), s.c_str(), m.size());
    m.resize(n);
    return m;
}

void cat(std::vector<std::string>& out, const std::list<std::string>& in)
{
    out.insert(out.end(), in.begin(), in.end());
}

void copy(std::vector<std::string>& out, std::list<std::string>& in)
{
    out.assign(in.begin(), in.end());
}

void makecharptrarray(std::vector<const char*>& out, const std::list<std::string>& in)
{
    out.clear();
    out.reserve(in.size());
    for (const std::string& s : in)
        out.push_back(s.c_str());
}

} // namespace basekit
