#include "Support/ProgramRun.hpp"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <spawn.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace mox::test {
namespace {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using TemporaryFile = std::unique_ptr<std::FILE, FileCloser>;

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

/// A file, not a pipe: a program that writes much never waits for its reader.
TemporaryFile temporaryFile() {
    TemporaryFile file(std::tmpfile());
    if (!file) fail(errno, "temporary file");
    return file;
}

std::string contentOf(std::FILE* file) {
    std::rewind(file);
    std::string content;
    for (int byte = std::fgetc(file); byte != EOF; byte = std::fgetc(file))
        content += static_cast<char>(byte);
    return content;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

ProgramRun runProgram(const std::vector<std::string>& arguments,
                      const std::vector<std::string>& environment) {
    const TemporaryFile output = temporaryFile();
    const TemporaryFile errors = temporaryFile();
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_adddup2(&actions, fileno(output.get()), STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, fileno(errors.get()), STDERR_FILENO);

    std::vector<std::string> argumentCopies = arguments;
    std::vector<std::string> environmentCopies = environment;
    pid_t process = 0;
    const int error = posix_spawn(&process, arguments.at(0).c_str(), &actions, nullptr,
                                  pointersTo(argumentCopies).data(), pointersTo(environmentCopies).data());
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) fail(error, arguments[0]);

    int status = 0;
    while (waitpid(process, &status, 0) < 0) {
        if (errno != EINTR) fail(errno, arguments[0]);
    }
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contentOf(output.get()), contentOf(errors.get())};
}

} // namespace mox::test
