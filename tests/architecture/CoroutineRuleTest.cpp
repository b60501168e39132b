#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

/// The await expressions that hold a capturing lambda: g++ 12 destroys such a temporary twice.
std::vector<std::string> dangerousAwaits(const std::string& source)
{
    static const std::regex lambda(R"re([\s(,={]\[[^\]\[]+\]\s*[({mn])re");
    std::vector<std::string> found;
    for (size_t start = source.find("co_await"); start != std::string::npos;
         start = source.find("co_await", start + 1)) {
        const std::string expression = source.substr(start, source.find(';', start) - start);
        if (std::regex_search(expression, lambda))
            found.push_back(expression);
    }
    return found;
}

TEST(CoroutineRule, NoAwaitExpressionHoldsACapturingLambda)
{
    std::vector<std::string> found;
    int awaits = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(VELMO_SOURCE_DIRECTORY)) {
        const auto extension = entry.path().extension();
        if (extension != ".h" && extension != ".cpp")
            continue;
        std::ifstream input(entry.path());
        std::ostringstream buffer;
        buffer << input.rdbuf();
        const std::string source = buffer.str();
        awaits += source.find("co_await ") != std::string::npos ? 1 : 0;
        for (const std::string& expression : dangerousAwaits(source))
            found.push_back(entry.path().filename().string() + ": " + expression);
    }
    EXPECT_GT(awaits, 5) << "the sources were not found";
    EXPECT_THAT(found, testing::IsEmpty());
}

TEST(CoroutineRule, FindsOne)
{
    EXPECT_EQ(dangerousAwaits("auto x = co_await onWorker([path = name] { return load(path); });").size(),
              1U);
    EXPECT_EQ(
        dangerousAwaits("co_return co_await consume(std::move(body), [this](int n) { use(n); });").size(),
        1U);
    EXPECT_EQ(dangerousAwaits("auto f = [a] { return a; };\nco_await onWorker(std::move(f));").size(), 0U);
    EXPECT_EQ(dangerousAwaits("co_await values[index].outcome();").size(), 0U);
}

} // namespace
