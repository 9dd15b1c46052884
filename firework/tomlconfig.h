// toml++ as the show file readers use it: header-only, without exceptions.
// Every file that includes the parser includes it through here, so all of
// them see one configuration.
#pragma once

#define TOML_EXCEPTIONS 0
#define TOML_HEADER_ONLY 1
// The parser's assertions on its own state stay off in every build: a header
// such as "[[[" trips one (or, with NDEBUG, an assumption the compiler may
// rely on) before the parser reports it as the error it is.
#pragma push_macro("NDEBUG")
#undef NDEBUG
#define TOML_ASSERT(expr) static_cast<void>(0)
#include <toml++/toml.h>
#pragma pop_macro("NDEBUG")
