#include "panel/WebLinks.h"

#include "support/core/Printing.h"

#include <QElapsedTimer>
#include <gtest/gtest.h>
#include <limits>

namespace velmo {
namespace {

QStringList linksIn(const QString& text)
{
    QStringList result;
    for (const WebLink& link : findWebLinks(text))
        result.append(text.mid(link.begin, link.end - link.begin));
    return result;
}

TEST(WebLinks, BracketsBelongToAnAddressWhereTheyAreBalanced)
{
    struct Case {
        const char* text;
        const char* link;
    };
    for (const Case& one : {
             Case{"see https://a.example/x_(y)", "https://a.example/x_(y)"},
             Case{"(https://a.example/x_(y))", "https://a.example/x_(y)"},
             Case{"(https://a.example/x)", "https://a.example/x"},
             Case{"https://a.example/(x)(y))).", "https://a.example/(x)(y)"},
             Case{"https://a.example/((x))", "https://a.example/((x))"},
             Case{"[https://a.example/x[1]]", "https://a.example/x[1]"},
             Case{"https://a.example/x[1](2)])", "https://a.example/x[1](2)"},
             Case{"https://a.example/(x)], and", "https://a.example/(x)"},
             Case{"https://a.example/x(y", "https://a.example/x(y"},
             Case{"「https://a.example/x」", "https://a.example/x"},
         })
        EXPECT_EQ(linksIn(QString::fromUtf8(one.text)), QStringList{QString::fromUtf8(one.link)}) << one.text;
}

/// The shortest time of many, which is the one that nothing else disturbed, in nanoseconds.
double shortestSearch(const QString& text)
{
    constexpr int kRuns = 300;
    double shortest = std::numeric_limits<double>::max();
    for (int run = 0; run < kRuns; ++run) {
        QElapsedTimer timer;
        timer.start();
        const auto links = findWebLinks(text);
        shortest = std::min(shortest, static_cast<double>(timer.nsecsElapsed()));
        if (links.size() != 1)
            ADD_FAILURE();
    }
    return shortest;
}

TEST(WebLinks, ThousandsOfBracketsBehindAnAddressTakeTimeInProportion)
{
    const QString address = QStringLiteral("https://a.example/x");
    const QString few = address + QString(500, u')');
    const QString many = address + QString(4000, u')');
    ASSERT_EQ(linksIn(few), QStringList{address});
    ASSERT_EQ(linksIn(many), QStringList{address});
    // Eight times as many. Counting all of them for each would take sixty-four times as long.
    EXPECT_LT(shortestSearch(many), 24 * shortestSearch(few));
}

} // namespace
} // namespace velmo
