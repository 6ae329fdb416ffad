#include "Platform/Linux/LinuxFileSystem.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <random>
#include <spawn.h>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

// Copies and removes folders in the shape of templates: the file system backend, the programs cp and rm, the
// standard library, and the floor, which makes the same folders and files from memory. All is on the RAM
// disk, where bringing something to the disk costs nothing: only the backend does so.
namespace mox {
namespace {

void require(bool condition, const std::string& what) {
    if (!condition) throw std::runtime_error(what);
}

/// Folders of ten files each, below one folder.
struct Shape {
    int files;
    int kilobytes;
};

/// A folder for all that is made here, removed at the end.
class Workplace {
public:
    Workplace() { require(::mkdtemp(_path.data()) != nullptr, "there is no RAM disk to write to"); }
    Workplace(const Workplace&) = delete;
    Workplace& operator=(const Workplace&) = delete;
    ~Workplace() { std::filesystem::remove_all(_path); }

    std::string path(const std::string& name) const { return _path + "/" + name; }
    const std::string& path() const { return _path; }

private:
    std::string _path = "/dev/shm/moxsubscribe-bench-XXXXXX";
};

constexpr int filesInFolder = 10;

/// Writes a tree of `shape`, each file with `content`.
void makeTree(const std::string& path, const Shape& shape, std::string_view content) {
    require(::mkdir(path.c_str(), 0755) == 0, "cannot make " + path);
    std::string folder;
    for (int number = 0; number < shape.files; ++number) {
        if (number % filesInFolder == 0) {
            folder = path + "/folder " + std::to_string(number / filesInFolder);
            require(::mkdir(folder.c_str(), 0755) == 0, "cannot make " + folder);
        }
        const std::string file = folder + "/file " + std::to_string(number);
        const int descriptor = ::open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        require(descriptor >= 0, "cannot make " + file);
        require(::write(descriptor, content.data(), content.size()) == static_cast<ssize_t>(content.size()),
                "cannot write " + file);
        ::close(descriptor);
    }
}

std::string contentFor(const Shape& shape) {
    std::mt19937 random(1);
    std::string content(static_cast<std::size_t>(shape.kilobytes) * 1024, '\0');
    for (char& byte : content)
        byte = static_cast<char>(random());
    return content;
}

void runProgram(std::vector<std::string> words) {
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t process = 0;
    int status = 0;
    require(::posix_spawnp(&process, arguments[0], nullptr, nullptr, arguments.data(), environ) == 0 &&
                ::waitpid(process, &status, 0) == process && status == 0,
            words[0] + " failed");
}

struct Subject {
    const char* name;
    void (*copy)(const Workplace& place, const std::string& name, const Shape& shape,
                 std::string_view content);
    void (*remove)(const std::string& path);
};

void copyOurs(const Workplace& place, const std::string& name, const Shape&, std::string_view) {
    SystemCalls system;
    require(bool(LinuxFileSystem(system).copyItem(place.path("template"), place.path(), name)), "no copy");
}

void removeOurs(const std::string& path) {
    SystemCalls system;
    require(bool(LinuxFileSystem(system).removeItem(path)), "no removal");
}

void copyByProgram(const Workplace& place, const std::string& name, const Shape&, std::string_view) {
    runProgram({"cp", "-r", place.path("template"), place.path(name)});
}

void removeByProgram(const std::string& path) {
    runProgram({"rm", "-r", path});
}

void copyByLibrary(const Workplace& place, const std::string& name, const Shape&, std::string_view) {
    using Options = std::filesystem::copy_options;
    std::filesystem::copy(place.path("template"), place.path(name),
                          Options::recursive | Options::copy_symlinks);
}

void removeByLibrary(const std::string& path) {
    std::filesystem::remove_all(path);
}

void makeFromMemory(const Workplace& place, const std::string& name, const Shape& shape,
                    std::string_view content) {
    makeTree(place.path(name), shape, content);
}

/// The same as safely as the backend makes a copy: hidden and nobody else's until it is whole and on the
/// disk.
void makeSafelyFromMemory(const Workplace& place, const std::string& name, const Shape& shape,
                          std::string_view content) {
    constexpr const char* hiddenName = ".mox-0123456789abcdef0123456789abcdef";
    const auto opened = [](int parent, const char* path) {
        const int folder = ::openat(parent, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        require(folder >= 0, "cannot open a folder");
        return folder;
    };
    const auto finish = [](int descriptor, mode_t mode) {
        require(::fchmod(descriptor, mode) == 0 && ::fsync(descriptor) == 0 && ::close(descriptor) == 0,
                "cannot synchronise");
    };
    const int parent = opened(AT_FDCWD, place.path().c_str());
    require(::mkdirat(parent, hiddenName, 0700) == 0, "cannot make a folder");
    const int top = opened(parent, hiddenName);
    int folder = -1;
    for (int number = 0; number < shape.files; ++number) {
        if (number % filesInFolder == 0) {
            if (folder >= 0) finish(folder, 0755);
            const std::string folderName = "folder " + std::to_string(number / filesInFolder);
            require(::mkdirat(top, folderName.c_str(), 0700) == 0, "cannot make a folder");
            folder = opened(top, folderName.c_str());
        }
        const std::string file = "file " + std::to_string(number);
        const int descriptor = ::openat(folder, file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        require(descriptor >= 0 && ::write(descriptor, content.data(), content.size()) ==
                                       static_cast<ssize_t>(content.size()),
                "cannot write a file");
        finish(descriptor, 0644);
    }
    finish(folder, 0755);
    finish(top, 0755);
    require(::renameat2(parent, hiddenName, parent, name.c_str(), RENAME_NOREPLACE) == 0 &&
                ::fsync(parent) == 0 && ::close(parent) == 0,
            "cannot name the copy");
}

constexpr Subject subjects[] = {
    {"ours", copyOurs, removeOurs},
    {"program", copyByProgram, removeByProgram},
    {"standard library", copyByLibrary, removeByLibrary},
    {"floor", makeFromMemory, nullptr},
    {"safe floor", makeSafelyFromMemory, nullptr},
};

/// Of large trees fewer copies, so that the memory takes all of them.
int iterationsFor(const Shape& shape) {
    return std::clamp(20'000 / shape.files, 2, 20);
}

std::string nameOfCopy(int number) {
    return "copy " + std::to_string(number);
}

void measureCopies(benchmark::State& state, const Subject& subject, const Shape& shape) {
    const std::string content = contentFor(shape);
    const Workplace place;
    makeTree(place.path("template"), shape, content);
    int number = 0;
    for ([[maybe_unused]] auto _ : state)
        subject.copy(place, nameOfCopy(number++), shape, content);
}

void measureRemovals(benchmark::State& state, const Subject& subject, const Shape& shape) {
    const std::string content = contentFor(shape);
    const Workplace place;
    for (int number = 0; number < iterationsFor(shape); ++number)
        makeTree(place.path(nameOfCopy(number)), shape, content);
    int number = 0;
    for ([[maybe_unused]] auto _ : state)
        subject.remove(place.path(nameOfCopy(number++)));
}

void measure(const char* operation, void (*run)(benchmark::State&, const Subject&, const Shape&),
             const Subject& subject, const Shape& shape) {
    const std::string name = std::string(operation) + "/" + subject.name + "/" + std::to_string(shape.files) +
                             "/" + std::to_string(shape.kilobytes);
    const auto measured = [run, subject, shape](benchmark::State& state) {
        state.counters["bytes"] = 1024.0 * shape.files * shape.kilobytes;
        run(state, subject, shape);
    };
    benchmark::RegisterBenchmark(name.c_str(), measured)
        ->Iterations(iterationsFor(shape))
        ->UseRealTime()
        ->Unit(benchmark::kMillisecond);
}

void registerAll() {
    for (const Shape shape : {Shape{10, 4}, Shape{10, 64}, Shape{1'000, 16}, Shape{100, 4}, Shape{1'000, 4},
                              Shape{10'000, 4}, Shape{100'000, 4}}) {
        const int rounds = shape.files > 10'000 ? 3 : 7;
        for (int round = 0; round < rounds; ++round) {
            for (const Subject& subject : subjects) {
                measure("copy", measureCopies, subject, shape);
                if (subject.remove) measure("remove", measureRemovals, subject, shape);
            }
        }
    }
}

} // namespace
} // namespace mox

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    benchmark::AddCustomContext("columns", "files,KiB a file");
    benchmark::AddCustomContext("growth", "files,1000");
    mox::registerAll();
    return benchmark::RunSpecifiedBenchmarks() == 0 ? 1 : 0;
}
