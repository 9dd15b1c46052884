// Library-wide hooks shared by every library of vexlor.
// error() is called just before a failure line is written; it does nothing,
// and exists so that a debugger has one place to stop on every reported failure.
#pragma once

namespace basekit {

inline void error() {}

} // namespace basekit
