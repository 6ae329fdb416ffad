#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include "ModelBased/ModelComparison.hpp"
#include "ModelBased/ReferencePaths.hpp"
#include "ModelBased/Shrinking.hpp"

namespace mox::test::model {
namespace {

using Paths = std::vector<std::string>;

/// A subject that is wrong as soon as "first" and then "second" have been asked for, or only on the disk.
class WrongPair : public ModelPair {
public:
    explicit WrongPair(bool isWrongOnDisk) : _isWrongOnDisk(isWrongOnDisk) {}

    Step choose(Random& random) override {
        return {.path = random.oneOf<std::string>({"first", "second", "a \"b\"\n", "c"})};
    }
    std::optional<std::string> differenceAfter(const Step& step) override {
        if (step.path == "first") _hasFirst = true;
        if (step.path == "second" && _hasFirst) _isWrong = true;
        return _isWrong && !_isWrongOnDisk ? std::optional<std::string>("as it is not to be") : std::nullopt;
    }
    std::optional<std::string> differenceOnDisk() override {
        return _isWrong ? std::optional<std::string>("not so on the disk") : std::nullopt;
    }

private:
    const bool _isWrongOnDisk;
    bool _hasFirst = false;
    bool _isWrong = false;
};

constexpr const char* shortestSteps = "became 2 steps:\n"
                                      "{\n"
                                      "    {.operation = Operation::LookUp, .path = \"first\"},\n"
                                      "    {.operation = Operation::LookUp, .path = \"second\"},\n"
                                      "}\n";

TEST(ModelComparison, A_difference_is_told_by_the_fewest_steps_that_show_it) {
    EXPECT_NONFATAL_FAILURE(compareAtRandom([] { return std::make_unique<WrongPair>(false); }, 1, 200),
                            shortestSteps);
}

TEST(ModelComparison, A_difference_that_only_the_disk_shows_is_found) {
    EXPECT_NONFATAL_FAILURE(compareAtRandom([] { return std::make_unique<WrongPair>(true); }, 1, 200),
                            shortestSteps);
}

TEST(ModelComparison, Kept_steps_that_show_a_difference_fail) {
    EXPECT_NONFATAL_FAILURE(compareWith([] { return std::make_unique<WrongPair>(false); },
                                        {{.path = "first"}, {.path = "second"}}),
                            "as it is not to be");
}

TEST(Shrinking, What_a_failure_does_not_need_is_left_out) {
    std::vector<int> steps(1000);
    for (int index = 0; index < 1000; ++index)
        steps[static_cast<std::size_t>(index)] = index;
    const auto holds = [](const std::vector<int>& part, int step) {
        return std::find(part.begin(), part.end(), step) != part.end();
    };
    const auto shortest = shrunk<int>(steps, [&holds](const std::vector<int>& part) {
        return holds(part, 0) && holds(part, 500) && holds(part, 999);
    });
    EXPECT_EQ(shortest, (std::vector<int>{0, 500, 999}));
}

TEST(Step, Its_program_text_names_what_is_not_usual) {
    const Step step = {
        .operation = Operation::Subscribe,
        .fileName = "\u00E9\\",
        .store = "",
        .info = Info{.icon = 2, .fileTypes = std::vector<FileType>{{.group = "G", .extensions = {".x"}}}},
        .flag = true,
        .wantsError = false,
        .fault = -1,
        .paths = {std::string("a\0b", 3)}};
    EXPECT_EQ(programText(step),
              "{.operation = Operation::Subscribe, .fileName = \"\\303\\251\\\\\", .store = \"\", .info = "
              "Info{.icon = 2, .fileTypes = std::vector<FileType>{FileType{.group = \"G\", .extensions = "
              "{\".x\"}}}}, .flag = true, .wantsError = false, .fault = -1, .paths = {\"a\\000b\"s}}");
}

TEST(ReferencePaths, The_rules_for_path_strings_are_those_of_the_platform) {
    EXPECT_EQ(componentsOf("/a//b/"), (Paths{"/", "a", "b", "/"}));
    EXPECT_EQ(componentsOf(""), Paths());
    EXPECT_EQ(componentsOf("/"), Paths{"/"});
    EXPECT_EQ(lastComponentOf("/a/b/"), "b");
    EXPECT_EQ(lastComponentOf("/"), "/");
    EXPECT_EQ(parentOf("/a/b/"), "/a");
    EXPECT_EQ(parentOf("/a"), "/");
    EXPECT_EQ(parentOf("a"), "");
    EXPECT_EQ(parentOf("/"), "/");
    EXPECT_EQ(joined("http://x", "a/"), "http:/x/a");
    EXPECT_EQ(joined("", "/"), "/");
    EXPECT_EQ(joined("/", "/"), "/");
    EXPECT_EQ(joined("", "a"), "a");
    EXPECT_TRUE(ByUTF16()("\U0001F600", "\uE000"));
    EXPECT_EQ(utf16Of("\u00E9").size(), 1U);
}

} // namespace
} // namespace mox::test::model
