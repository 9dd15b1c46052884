// Opening a file to read only when it is a regular file. A FIFO would block
// the open until a writer comes and a device may never end, so whatever a
// user names is looked at before a byte of it is read.
#pragma once

#include <string>

namespace basekit {

// A descriptor open for reading on `path` (links followed) when it names a
// regular file; -1 otherwise, with why in `reason`, to follow "PATH: ":
// "cannot read the file (No such file or directory)", "cannot read the file
// (Is a directory)", "not a regular file (a FIFO)". Never blocks, a FIFO
// without a writer included.
int openregular(const char* path, std::string& reason);

// "a FIFO", "a character device", ... for a file mode (st_mode).
const char* filekind(unsigned mode);

} // namespace basekit
