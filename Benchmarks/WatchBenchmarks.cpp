#include "Platform/Linux/LinuxFolderEvents.hpp"
#include "Platform/Linux/LinuxRunLoop.hpp"
#include "Platform/PackageNames.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>
#include <vector>

// Watches trees of folders and reads storms of events: the framework's folder events, and beside them the
// bare system calls, which keep no tree and tell nobody. The folders are in the home directory, which has to
// be a scratch one.
namespace mox {
namespace {

constexpr std::size_t creations = 100'000;
/// As many as a queue of the usual length takes: each is an event for the creation and one for the closing.
constexpr std::size_t creationsAtOnce = 8'000;
constexpr std::size_t bufferSize = 256 * 1024;

void require(bool condition, const std::string& what) {
    if (!condition) throw std::runtime_error(what);
}

void makeFolder(const std::string& path) {
    require(::mkdir(path.c_str(), 0777) == 0, "cannot make " + path);
}

/// The top of a tree of `count` folders, a hundred in each of those that hold others, with a package in each
/// of the rest. Made when it is first asked for.
std::string treeOf(std::size_t count) {
    std::string top = std::string(std::getenv("HOME")) + "/" + std::to_string(count);
    if (::access(top.c_str(), F_OK) == 0) return top;
    makeFolder(top);
    for (std::size_t made = 1; made < count;) {
        const std::string group = top + "/Group " + std::to_string(made);
        makeFolder(group);
        ++made;
        for (std::size_t index = 0; index < 100 && made < count; ++index, ++made) {
            const std::string folder = group + "/Folder " + std::to_string(index);
            makeFolder(folder);
            makeFolder(folder + "/Stub.app");
        }
    }
    return top;
}

/// The folders at and below `top`, packages left out.
std::vector<std::string> foldersIn(const std::string& top) {
    std::vector<std::string> folders = {top};
    for (std::size_t index = 0; index < folders.size(); ++index) {
        DIR* const listing = ::opendir(folders[index].c_str());
        require(listing != nullptr, "cannot list " + folders[index]);
        while (const struct dirent* const entry = ::readdir(listing))
            if (entry->d_type == DT_DIR && entry->d_name[0] != '.' && !isPackageName(entry->d_name))
                folders.push_back(folders[index] + "/" + entry->d_name);
        ::closedir(listing);
    }
    return folders;
}

/// A watch by system calls alone: one on each folder, and the folders listed.
class BareWatch {
public:
    explicit BareWatch(const std::string& top) : _queue(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
        require(_queue >= 0, "there is no queue");
        std::vector<std::string> waiting = {top};
        while (!waiting.empty()) {
            const std::string folder = std::move(waiting.back());
            waiting.pop_back();
            const int watch = ::inotify_add_watch(_queue, folder.c_str(),
                                                  IN_CREATE | IN_DELETE | IN_MOVED_FROM | IN_MOVED_TO |
                                                      IN_CLOSE_WRITE | IN_ATTRIB | IN_ONLYDIR);
            require(watch >= 0, "there is no watch left");
            DIR* const listing = ::opendir(folder.c_str());
            require(listing != nullptr, "cannot list " + folder);
            while (const struct dirent* const entry = ::readdir(listing))
                if (entry->d_type == DT_DIR && entry->d_name[0] != '.' && !isPackageName(entry->d_name))
                    waiting.push_back(folder + "/" + entry->d_name);
            ::closedir(listing);
        }
    }
    BareWatch(const BareWatch&) = delete;
    BareWatch& operator=(const BareWatch&) = delete;
    ~BareWatch() { ::close(_queue); }

    /// Reads all events that wait.
    void drain() {
        for (;;) {
            const ssize_t length = ::read(_queue, _buffer.data(), _buffer.size());
            if (length <= 0) return;
            benchmark::DoNotOptimize(_buffer.data());
        }
    }

private:
    int _queue;
    std::vector<char> _buffer = std::vector<char>(bufferSize);
};

/// The framework's watch, with its run loop.
class OurWatch {
public:
    explicit OurWatch(const std::string& top) {
        _stream = _events.createStream(top, std::chrono::hours(1), [](const std::vector<std::string>&) {});
        require(_stream != nullptr, "there is no stream");
        _stream->schedule(_loop, defaultRunLoopMode);
        require(_stream->start(), "the stream does not start");
    }

    void drain() {
        while (_loop->runOnce(defaultRunLoopMode, std::chrono::milliseconds(0))) {
        }
    }

private:
    SystemCalls _system;
    WatchCalls _calls;
    LinuxFolderEvents _events{_system, _calls};
    std::shared_ptr<LinuxRunLoop> _loop = LinuxRunLoop::makeForThisThread();
    std::unique_ptr<FolderEventStream> _stream;
};

template<typename Watch>
void setUp(benchmark::State& state, std::size_t folders) {
    const std::string top = treeOf(folders);
    for ([[maybe_unused]] auto _ : state) {
        auto watch = std::make_unique<Watch>(top);
        // How long the watches take to end is not what is asked.
        state.PauseTiming();
        watch.reset();
        state.ResumeTiming();
    }
}

/// Makes files in the folders in turn, and lets the events be read whenever the queue is nearly full.
template<typename Watch>
void storm(benchmark::State& state, std::size_t folderCount, bool isSpread) {
    const std::string top = treeOf(folderCount);
    std::vector<std::string> folders = foldersIn(top);
    if (!isSpread) folders.resize(1);
    Watch watch(top);
    for ([[maybe_unused]] auto _ : state) {
        state.PauseTiming();
        std::vector<std::string> files;
        for (std::size_t index = 0; index < creations; ++index)
            files.push_back(folders[index % folders.size()] + "/file " + std::to_string(index));
        for (std::size_t first = 0; first < files.size(); first += creationsAtOnce) {
            for (std::size_t index = first; index < std::min(first + creationsAtOnce, files.size());
                 ++index) {
                const int file = ::open(files[index].c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
                require(file >= 0 && ::close(file) == 0, "cannot make " + files[index]);
            }
            state.ResumeTiming();
            watch.drain();
            state.PauseTiming();
        }
        for (std::size_t index = 0; index < files.size(); ++index) {
            require(::unlink(files[index].c_str()) == 0, "cannot remove " + files[index]);
            if (index % creationsAtOnce == 0) watch.drain();
        }
        watch.drain();
        state.ResumeTiming();
    }
}

struct Subject {
    const char* operation;
    const char* name;
    std::function<void(benchmark::State&, std::size_t folders)> run;
};

/// How many folders the system lets the user watch.
std::size_t mostWatches() {
    std::size_t count = 0;
    std::ifstream("/proc/sys/fs/inotify/max_user_watches") >> count;
    return count;
}

void registerAll() {
    const std::vector<Subject> subjects = {
        {"set-up", "ours", setUp<OurWatch>},
        {"set-up", "bare calls", setUp<BareWatch>},
        {"storm in one folder", "ours",
         [](benchmark::State& state, std::size_t folders) { storm<OurWatch>(state, folders, false); }},
        {"storm in one folder", "bare calls",
         [](benchmark::State& state, std::size_t folders) { storm<BareWatch>(state, folders, false); }},
        {"storm in all folders", "ours",
         [](benchmark::State& state, std::size_t folders) { storm<OurWatch>(state, folders, true); }},
        {"storm in all folders", "bare calls",
         [](benchmark::State& state, std::size_t folders) { storm<BareWatch>(state, folders, true); }},
    };
    for (const std::size_t folders : {100U, 1'000U, 10'000U, 100'000U}) {
        if (mostWatches() < folders) {
            std::fprintf(stderr, "%zu folders are left out, since the system allows fewer watches\n",
                         folders);
            continue;
        }
        for (int round = 0; round < 7; ++round) {
            for (const Subject& subject : subjects) {
                const std::string name =
                    std::string(subject.operation) + "/" + subject.name + "/" + std::to_string(folders);
                const auto run = [subject, folders](benchmark::State& state) { subject.run(state, folders); };
                benchmark::RegisterBenchmark(name.c_str(), run)->Iterations(1)->Unit(benchmark::kMillisecond);
            }
        }
    }
}

} // namespace
} // namespace mox

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    const char* home = std::getenv("HOME");
    if (home == nullptr || home[0] != '/' || ::access((std::string(home) + "/100").c_str(), F_OK) == 0) {
        std::fputs("HOME has to be a new folder, as script/bench makes one\n", stderr);
        return 2;
    }
    benchmark::AddCustomContext("columns", "folders");
    benchmark::AddCustomContext("growth", "folders,1000");
    mox::registerAll();
    return benchmark::RunSpecifiedBenchmarks() == 0 ? 1 : 0;
}
