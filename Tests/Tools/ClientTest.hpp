#pragma once

#include "Support/ProgramRun.hpp"
#include "Support/ScratchFolder.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace mox::tool {

/// Runs the built program in a home of its own.
class ClientTest : public testing::Test {
protected:
    /// Runs the program with `arguments` as they are.
    test::ProgramRun runBare(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), MOXSUBSCRIBE_PROGRAM);
        return test::runProgram(arguments, {"HOME=" + home(), "LANG=C"});
    }

    /// Runs the program on the dictionary model.
    test::ProgramRun run(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"--model", "dictionary"});
        return runBare(std::move(arguments));
    }

    /// Runs the program and expects it to be done without a word on standard error; its output.
    std::string outputOf(const std::vector<std::string>& arguments) const {
        const test::ProgramRun ended = run(arguments);
        EXPECT_EQ(ended.status, 0);
        EXPECT_EQ(ended.errors, "");
        return ended.output;
    }

    nlohmann::json jsonOf(std::vector<std::string> arguments) const {
        arguments.emplace_back("--json");
        return nlohmann::json::parse(run(arguments).output);
    }

    void subscribe(const std::string& folder, const std::string& name,
                   const std::string& type = "application") const {
        outputOf({"subscribe", "--resource", "Fleet:" + name, "--type", type, "--file-name", name, "--folder",
                  folder, "--store", "Fleet", "--internal-url", "https://apps.example.com/"});
    }

    std::vector<std::string> allPaths() const { return jsonOf({"list", "", "--recursive"}); }

    const std::string& home() const { return _home.path(); }
    std::string inApplications(const std::string& path) const { return home() + "/Applications/" + path; }
    std::string supportFolder() const { return home() + "/Library/Application Support/Korvan Ostrel"; }
    std::string storeFile() const { return supportFolder() + "/Subscriptions.plist"; }

    test::ScratchFolder _home;
};

/// Expects one line on standard error that begins with the program's name, and nothing else but `status`.
inline void expectFailure(const test::ProgramRun& ended, int status, const std::string& part) {
    EXPECT_EQ(ended.status, status);
    EXPECT_EQ(ended.output, "");
    EXPECT_TRUE(ended.errors.starts_with("moxsubscribe: ")) << ended.errors;
    EXPECT_EQ(ended.errors.find('\n'), ended.errors.size() - 1) << ended.errors;
    EXPECT_THAT(ended.errors, testing::HasSubstr(part));
}

} // namespace mox::tool
