#pragma once

#include <memory>
#include <ostream>

#include "Commands.hpp"

namespace mox::tool {

/// What a command line asks for.
struct Request {
    SubscriptionModel model = SubscriptionModel::ApplicationBundle;
    std::function<void(Session&)> command;
};

/// The program's command line with all commands. Parsing it fills `request`, which must outlive it.
std::unique_ptr<CLI::App> makeCommandLine(Request& request);

/// Runs the program and returns its exit status: 0 done, 1 the operation failed, 2 usage. Nothing is thrown.
int runCommandLine(int argumentCount, const char* const* arguments, std::ostream& output,
                   std::ostream& errors);

} // namespace mox::tool
