// Path names: taking paths apart and putting them together. Both '/' and '\\'
// separate directories (the later one wins); multibyte text is examined as wide
// characters so that a separator byte inside a character is never taken for one.
#pragma once

#include <cstddef>
#include <string>

namespace basekit {

// Pointer into `path` just after its last separator; `path` when there is none.
const char* baseptr(const char* path);

// The last component without its extension.
std::string basename(const std::string& path);
// The same into `dst`: at most size - 1 bytes and a terminating zero, never
// splitting a character. Returns the number of text bytes written.
std::size_t basename(char* dst, const char* src, std::size_t size);

// The text up to and including the last separator; empty when there is none.
std::string dirname(const std::string& path);
std::size_t dirname(char* dst, const char* src, std::size_t size);

// -1 when `s` is shorter than `ext`; otherwise a case-insensitive comparison of
// the end of `s` with `ext` (0 = same ending).
int extcasecmp(const std::string& s, const char* ext);
int extcasecmp(const char* s, std::size_t length, const char* ext);

// Copies with every '/' turned into '\\', and every '\\' into '/'.
std::string delimconvert(const std::string& path);
std::string deliminvert(const std::string& path);

// Size of each part buffer of splitpath and splitpath_t, terminator included.
constexpr std::size_t path_part_max = 260;

// Splits `path` into drive (up to the first ':'), directory (up to the last
// separator), name and extension (from the last '.'). Each output must hold
// path_part_max bytes; a null output is skipped.
void splitpath(const char* path, char* drive, char* dir, char* name, char* ext);

// Writes the four parts one after another into `dst` and returns `dst`. A null
// part counts as empty.
char* concatpath(char* dst, const char* drive, const char* dir, const char* name, const char* ext);

struct splitpath_t {
    char drive[path_part_max];
    char dir[path_part_max];
    char name[path_part_max];
    char ext[path_part_max];
};

void split(splitpath_t& parts, const char* path);
char* concat(char* dst, const splitpath_t& parts);

// `name` when it exists as given; otherwise the first existing candidate in the
// directory of `origin` (when given), then in the directories of PATH; `name`
// unchanged when none exists.
std::string searchpath(const std::string& name, const char* origin = nullptr);

// False when `source` cannot be examined; true when `target` cannot; otherwise
// whether `source` was modified later than `target`.
bool need_update(const std::string& source, const std::string& target);

} // namespace basekit
