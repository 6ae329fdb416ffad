#pragma once

#include <cstddef>
#include <ostream>
#include <string_view>

namespace mox::tool {

/// Shows how far a long command is: on a terminal a bar that is drawn anew at each step and wiped at the end,
/// elsewhere one line a step.
class Progress {
public:
    /// `width` is the terminal's width in characters; 0 when `output` is no terminal.
    Progress(std::ostream& output, std::size_t total, std::size_t width);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// One more step of the total is done: what it dealt with, and how it ended.
    void step(std::string_view subject, std::string_view outcome);

private:
    void draw(std::string_view subject);

    std::ostream& _output;
    std::size_t _total;
    std::size_t _width;
    std::size_t _done = 0;
};

/// The width of the terminal on standard error; 0 when it is none.
std::size_t widthOfErrorTerminal();

} // namespace mox::tool
