// vexlor-render: a show to a video file or PNG frames, with its sound,
// headless. Ctrl-C stops it and leaves no half-written output.
#include "tools/render/options.h"
#include "tools/render/renderjob.h"

#include <clocale>
#include <csignal>

namespace {

void onsignal(int)
{
    vexlor::stoprender();
}

} // namespace

int main(int argc, char** argv)
{
    // Numbers on the command line are read the C way whatever the locale.
    std::setlocale(LC_ALL, "C");

    vexlor::renderoptions_t options;
    if (const int status = vexlor::parseoptions(argc, argv, options); status >= 0) return status;

    // No SA_RESTART: a write blocked on a full pipe returns, and the render stops.
    struct sigaction action {};
    action.sa_handler = onsignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    vexlor::renderstats_t stats;
    return vexlor::render(options, stats);
}
