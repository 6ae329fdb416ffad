#include <cstdio>
#include <exception>
#include <unistd.h>

#include "Launcher.hpp"
#include "Programs.hpp"

namespace {

using namespace mox::launcher;

std::string nameOf(std::string_view program) {
    return std::string(program.substr(program.rfind('/') + 1));
}

/// Tells why nothing happens where the user looks: on a program that was started from a menu nobody reads
/// the standard error.
void tell(const std::string& program, const std::string& reason) {
    std::fprintf(stderr, "%s: %s\n", program.c_str(), reason.c_str());
    if (::isatty(STDERR_FILENO)) return;
    if (const auto notifier = pathOfProgram("notify-send")) runSilently(*notifier, {"--", reason});
}

} // namespace

int main(int argumentCount, char** arguments) {
    const std::string program = argumentCount > 0 ? nameOf(arguments[0]) : "launcher";
    try {
        const std::vector<std::string> documents(arguments + (argumentCount > 0 ? 1 : 0),
                                                 arguments + argumentCount);
        const Refusal refusal = launch(documents);
        tell(program, refusal.reason);
        return static_cast<int>(refusal.status);
    } catch (const std::exception& exception) {
        tell(program, exception.what());
        return static_cast<int>(Status::NotStarted);
    }
}
