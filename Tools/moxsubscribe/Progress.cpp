#include "Progress.hpp"

#include <algorithm>
#include <string>
#include <sys/ioctl.h>
#include <unistd.h>

#include "PrintableText.hpp"

namespace mox::tool {
namespace {

constexpr std::size_t lengthOfBar = 24;

/// The first `count` characters of `text`, which is well-formed UTF-8.
std::string_view firstCharacters(std::string_view text, std::size_t count) {
    std::size_t length = 0;
    for (; count > 0 && length < text.size(); --count)
        length += lengthOfFirstCharacter(text.substr(length));
    return text.substr(0, length);
}

} // namespace

Progress::Progress(std::ostream& output, std::size_t total, std::size_t width)
    : _output(output), _total(total), _width(width) {}

Progress::~Progress() {
    if (_width != 0 && _done != 0) _output << "\r\x1B[K" << std::flush;
}

void Progress::step(std::string_view subject, std::string_view outcome) {
    ++_done;
    if (_width != 0) return draw(subject);
    _output << '[' << _done << '/' << _total << "] " << printable(subject) << ": " << printable(outcome)
            << '\n';
}

void Progress::draw(std::string_view subject) {
    const std::size_t filled = _done * lengthOfBar / std::max<std::size_t>(_total, 1);
    const std::string counts = " " + std::to_string(_done) + "/" + std::to_string(_total) + " ";
    const std::size_t used = lengthOfBar + 2 + counts.size();
    // The last column stays free, so that no terminal breaks the line.
    const std::size_t room = _width > used + 1 ? _width - used - 1 : 0;
    _output << "\r[" << std::string(filled, '#') << std::string(lengthOfBar - filled, ' ') << ']' << counts
            << firstCharacters(printable(subject), room) << "\x1B[K" << std::flush;
}

std::size_t widthOfErrorTerminal() {
    if (isatty(STDERR_FILENO) == 0) return 0;
    constexpr std::size_t usualWidth = 80;
    winsize size{};
    return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : usualWidth;
}

} // namespace mox::tool
