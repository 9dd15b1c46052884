// String and token helpers: prefix comparison, trimming line ends, splitting
// and joining tokens, multibyte/wide conversion in the current C locale.
#pragma once

#include <list>
#include <string>
#include <utility>
#include <vector>

namespace basekit {

// Compares `s` with `prefix` over the length of `prefix` only: 0 when `s`
// begins with `prefix`.
int stringcmp(const char* s, const char* prefix);

// Removes every trailing carriage return and line feed.
void chop(std::string& s);

// Removes every trailing blank, tab, line feed, carriage return and zero.
void chop2(std::string& s);

// Appends the tokens of `in` to `out`. Every character found in `delims`, and
// a zero byte, closes a token (empty tokens included); the text after the last
// delimiter is appended only when it is not empty. `out` is never cleared.
void separate_token(std::list<std::string>& out, const std::string& in, const char* delims);

// Splits `in` at the first `c`; false (and `out` untouched) when there is none.
bool separate_first_token(std::pair<std::string, std::string>& out, const std::string& in, char c);

// `out` = the strings of `in` joined with `delim` between neighbours.
void concatenate_token(std::string& out, std::list<std::string>& in, const char* delim);

// Multibyte <-> wide by mbstowcs / wcstombs in the current locale. Text that
// the locale cannot convert gives an empty result.
std::wstring str2wstr(const std::string& s);
std::string wstr2str(const std::wstring& s);

// Appends the strings of `in` to `out`, keeping what `out` held.
void cat(std::vector<std::string>& out, const std::list<std::string>& in);

// Replaces the contents of `out` with the strings of `in`.
void copy(std::vector<std::string>& out, std::list<std::string>& in);

// `out` = one pointer per string of `in`, in order, and nothing else (no
// terminating null pointer). The pointers stay valid while `in` lives unchanged.
void makecharptrarray(std::vector<const char*>& out, const std::list<std::string>& in);

} // namespace basekit
