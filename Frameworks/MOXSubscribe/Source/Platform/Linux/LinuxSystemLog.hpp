#pragma once

#include "Platform/SystemLog.hpp"

#include <string>

namespace mox {

/// The log of the system, syslog(3): facility "user", priority "notice". The log is not opened here, so that
/// the lines bear the name and the options that the host program has chosen.
class LinuxSystemLog : public SystemLog {
public:
    void log(std::string_view message) override;
};

/// `message` as it may stand on one line of a log that is looked at in a terminal: control characters, line
/// and paragraph separators and the marks that turn the direction of writing become `\n`, `\r`, `\t`, `\xHH`
/// or
/// `\u{H…}`; what is no UTF-8 becomes U+FFFD. Everything else, backslashes too, is left as it is.
std::string escapedForLog(std::string_view message);

} // namespace mox
