#pragma once

#include <string>
#include <vector>

namespace mox::test {

/// How a program ended.
struct ProgramRun {
    /// Its exit status; -1 when a signal ended it.
    int status;
    /// What it wrote to standard output.
    std::string output;
    /// What it wrote to standard error.
    std::string errors;
};

/// Runs the program `arguments[0]` with nothing on standard input and `environment` ("NAME=value") for its
/// whole environment, and waits for its end. Throws std::system_error when it cannot be started.
ProgramRun runProgram(const std::vector<std::string>& arguments, const std::vector<std::string>& environment);

} // namespace mox::test
