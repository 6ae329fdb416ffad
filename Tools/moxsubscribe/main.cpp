#include <iostream>

#include "CommandLine.hpp"

int main(int argumentCount, char** arguments) {
    return mox::tool::runCommandLine(argumentCount, arguments, std::cout, std::cerr);
}
