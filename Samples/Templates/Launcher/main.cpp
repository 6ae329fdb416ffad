#include <cstdio>
#include <exception>
#include <unistd.h>

#include "Launcher.hpp"
#include "Programs.hpp"

namespace {

using namespace mox::launcher;

/// Tells why nothing happens where the user looks: nobody reads the standard error of a program that was
/// started from a menu. What the server chose goes to the desktop alone, where it cannot steer a terminal.
void tell(const std::string& reason) {
    static_cast<void>(std::fprintf(stderr, "launcher: %s\n", reason.c_str()));
    if (::isatty(STDERR_FILENO)) return;
    if (const auto notifier = pathOfProgram("notify-send"))
        runSilently(*notifier, {"--", bundleName(), reason});
}

} // namespace

int main(int argumentCount, char** arguments) {
    try {
        std::vector<std::string> documents(arguments, arguments + argumentCount);
        if (!documents.empty()) documents.erase(documents.begin());
        const Refusal refusal = launch(documents);
        tell(refusal.reason);
        return static_cast<int>(refusal.status);
    } catch (const std::exception& exception) {
        static_cast<void>(std::fprintf(stderr, "launcher: %s\n", exception.what()));
        return static_cast<int>(Status::NotStarted);
    }
}
