// Writes the 100-shell finale of the evaluation benchmark (one susuki shell
// every 0.5 s over a 10 x 10 grid) as a scene file, for measuring the viewer.
#include "firework/loadsave.h"
#include "tests/firework/reference.h"

#include <iostream>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::cerr << "usage: makefinale FILE" << std::endl;
        return 2;
    }
    std::vector<vexlor::firework_t> scene;
    reference::makefinale(scene, 100, 0.5f);
    if (!vexlor::save(argv[1], scene)) {
        std::cerr << argv[1] << ": cannot write" << std::endl;
        return 1;
    }
    return 0;
}
