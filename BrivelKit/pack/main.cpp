#include "pack/PackTool.h"

#include <iostream>
#include <string>
#include <vector>

int main(int argc, char** argv) {
    return brivel::PackTool::run(std::vector<std::string>(argv + 1, argv + argc), std::cout, std::cerr);
}
