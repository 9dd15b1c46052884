// The built-in show names a render accepts, as the viewer does.
#include "tools/render/showsource.h"

#include "firework/builtin.h"

namespace vexlor {

const std::vector<std::string>& builtinshows()
{
    return builtinnames();
}

} // namespace vexlor
