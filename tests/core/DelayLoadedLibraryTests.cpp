#include "core/DelayLoadedLibrary.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

/// Nothing exports it.
extern "C" int velmoHasNoSuchFunction(int);

} // namespace

namespace velmo {

namespace {

DelayLoadedLibrary standardLibrary("c", 6);
VELMO_DELAY_LOADED(standardLibrary, labs);
VELMO_DELAY_LOADED(standardLibrary, snprintf);

DelayLoadedLibrary absentLibrary("velmo-has-no-such-library", 3);
DelayLoadedLibrary otherVersion("c", 4321);
DelayLoadedLibrary olderLibrary("c", 6);
VELMO_DELAY_LOADED(olderLibrary, velmoHasNoSuchFunction);

} // namespace

TEST(DelayLoadedLibrary, ItsFunctionsAreCalledLikeOrdinaryOnes)
{
    ASSERT_TRUE(standardLibrary.load());
    EXPECT_EQ(labs(-3L), 3);
    std::array<char, 8> text{};
    EXPECT_EQ(snprintf(text.data(), text.size(), "%d-%s", 7, "b"), 3);
    EXPECT_STREQ(text.data(), "7-b");
}

TEST(DelayLoadedLibrary, AnAbsentOneIsNamedByTheFileThatPeopleInstall)
{
    EXPECT_FALSE(absentLibrary.load());
    EXPECT_FALSE(absentLibrary.load());
    EXPECT_EQ(absentLibrary.absence(), QStringLiteral("The library libvelmo-has-no-such-library.so.3 is "
                                                      "missing: install it, and start Velmo again."));
}

TEST(DelayLoadedLibrary, AnotherVersionIsNotTakenForIt)
{
    EXPECT_FALSE(otherVersion.load());
}

TEST(DelayLoadedLibrary, OneThatLacksAFunctionIsNotUsed)
{
    EXPECT_FALSE(olderLibrary.load());
    EXPECT_EQ(
        olderLibrary.absence(),
        QStringLiteral(
            "The library libc.so.6 is not the one that Velmo needs: it has no velmoHasNoSuchFunction."));
}

TEST(DelayLoadedLibrary, ThreadsThatLoadItAtOnceGetTheSameAnswer)
{
    static DelayLoadedLibrary library("m", 6);
    std::vector<std::thread> threads;
    std::vector<char> answers(8);
    for (char& answer : answers)
        threads.emplace_back([&answer] { answer = library.load() ? 'y' : 'n'; });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(answers, std::vector<char>(8, 'y'));
}

} // namespace velmo
