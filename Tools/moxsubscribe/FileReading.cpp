#include "FileReading.hpp"

#include <MOXSubscribe.hpp>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include "Failure.hpp"

namespace mox::tool {
namespace {

class Descriptor {
public:
    explicit Descriptor(int number) : _number(number) {}
    ~Descriptor() {
        if (_number >= 0) close(_number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int number() const { return _number; }

private:
    int _number;
};

int openForReading(const std::string& path) {
    for (;;) {
        // A pipe may let it wait, so that a signal comes in between.
        const int number = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (number >= 0 || errno != EINTR) return number;
    }
}

} // namespace

std::string bytesOfFile(const std::string& path, std::size_t maximumLength) {
    const Descriptor file(openForReading(path));
    if (file.number() < 0) throw Failure(Error::posix(errno), path);
    std::string bytes;
    std::array<char, 65536> buffer{};
    for (;;) {
        const ssize_t count = read(file.number(), buffer.data(), buffer.size());
        if (count == 0) return bytes;
        if (count < 0) {
            if (errno == EINTR) continue;
            throw Failure(Error::posix(errno), path);
        }
        bytes.append(buffer.data(), static_cast<std::size_t>(count));
        if (bytes.size() > maximumLength) throw Failure(Error::posix(EFBIG), path);
    }
}

} // namespace mox::tool
