#include "app/CommandLine.h"
#include "support/core/Printing.h"

#include <gmock/gmock.h>

namespace velmo {

namespace {

QStringList words(std::initializer_list<const char*> arguments)
{
    QStringList result;
    for (const char* argument : arguments)
        result.append(QString::fromUtf8(argument));
    return result;
}

AskArguments askOf(std::initializer_list<const char*> arguments)
{
    QString reason;
    const auto line = parseCommandLine(QStringList{QStringLiteral("ask")} + words(arguments), &reason);
    EXPECT_TRUE(line.has_value()) << reason.toStdString();
    if (!line)
        return {};
    EXPECT_EQ(line->verb, CommandLine::Verb::Ask);
    return line->ask;
}

/// The reason why a line is not understood; empty if it is.
QString reasonAgainst(const QStringList& arguments)
{
    QString reason;
    const auto line = parseCommandLine(arguments, &reason);
    EXPECT_EQ(line.has_value(), reason.isEmpty());
    return reason;
}

std::optional<QString> text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

} // namespace

TEST(CommandLineTest, NothingStartsTheProgram)
{
    QString reason;
    const auto line = parseCommandLine({}, &reason);
    ASSERT_TRUE(line.has_value());
    EXPECT_EQ(line->verb, CommandLine::Verb::Start);
}

TEST(CommandLineTest, EachWayToStartIsToldFromTheOthers)
{
    struct Case {
        const char* word;
        StartMode mode;
        StartWish wish;
    };
    for (const Case& each : {Case{"--background", StartMode::Background, StartWish::None},
                             Case{"annotate", StartMode::Interactive, StartWish::Annotate},
                             Case{"settings", StartMode::Interactive, StartWish::Settings}}) {
        QString reason;
        const auto line = parseCommandLine(words({each.word}), &reason);
        ASSERT_TRUE(line.has_value()) << reason.toStdString();
        EXPECT_EQ(line->verb, CommandLine::Verb::Start);
        EXPECT_EQ(line->start.mode, each.mode) << each.word;
        EXPECT_EQ(line->start.wish, each.wish) << each.word;
    }
}

TEST(CommandLineTest, WhatOnlyTheRunningOneCanDoAreVerbs)
{
    QString reason;
    EXPECT_EQ(parseCommandLine(words({"cancel"}), &reason)->verb, CommandLine::Verb::Cancel);
    EXPECT_EQ(parseCommandLine(words({"quit"}), &reason)->verb, CommandLine::Verb::Quit);
    for (const char* verb : {"annotate", "settings", "cancel", "quit", "--background"})
        EXPECT_EQ(reasonAgainst(words({verb, "now"})),
                  u'"' + QString::fromUtf8(verb) + QStringLiteral("\" is followed by nothing"));
}

TEST(CommandLineTest, TheDoctorTalksToPeopleOrToTools)
{
    QString reason;
    const auto text = parseCommandLine(words({"doctor"}), &reason);
    ASSERT_TRUE(text.has_value()) << reason.toStdString();
    EXPECT_EQ(text->verb, CommandLine::Verb::Doctor);
    EXPECT_EQ(text->doctorFormat, DoctorFormat::Text);
    const auto json = parseCommandLine(words({"doctor", "--json"}), &reason);
    ASSERT_TRUE(json.has_value()) << reason.toStdString();
    EXPECT_EQ(json->verb, CommandLine::Verb::Doctor);
    EXPECT_EQ(json->doctorFormat, DoctorFormat::Json);
    EXPECT_EQ(reasonAgainst(words({"doctor", "--xml"})),
              QStringLiteral("\"doctor\" is followed by --json or nothing"));
}

TEST(CommandLineTest, HelpAndVersionAreVerbs)
{
    QString reason;
    EXPECT_EQ(parseCommandLine(words({"--help"}), &reason)->verb, CommandLine::Verb::Help);
    EXPECT_EQ(parseCommandLine(words({"-h"}), &reason)->verb, CommandLine::Verb::Help);
    EXPECT_EQ(parseCommandLine(words({"--version"}), &reason)->verb, CommandLine::Verb::Version);
}

TEST(CommandLineTest, AskWithoutAnythingReadsTheQuestionElsewhere)
{
    const AskArguments ask = askOf({});
    EXPECT_FALSE(ask.question.has_value());
    EXPECT_FALSE(ask.provider.has_value());
    EXPECT_FALSE(ask.model.has_value());
    EXPECT_FALSE(ask.imagePath.has_value());
}

TEST(CommandLineTest, AskTakesTheWordsAsOneQuestion)
{
    EXPECT_EQ(askOf({"What is this?"}).question, text("What is this?"));
    EXPECT_EQ(askOf({"What", "is", "this?"}).question, text("What is this?"));
    EXPECT_EQ(askOf({"\xC3\xA4 %1"}).question, text("\xC3\xA4 %1"));
    EXPECT_EQ(askOf({""}).question, text("")) << "an empty question is one, and is refused later";
}

TEST(CommandLineTest, AskTakesItsOptionsInBothSpellingsAndAnyOrder)
{
    for (const AskArguments& ask :
         {askOf({"--provider", "openai", "--model", "m-1", "--image", "a b.png", "Why?"}),
          askOf({"--provider=openai", "--model=m-1", "--image=a b.png", "Why?"}),
          askOf({"Why?", "--image", "a b.png", "--model=m-1", "--provider", "openai"})}) {
        EXPECT_EQ(ask.provider, text("openai"));
        EXPECT_EQ(ask.model, text("m-1"));
        EXPECT_EQ(ask.imagePath, text("a b.png"));
        EXPECT_EQ(ask.question, text("Why?"));
    }
}

TEST(CommandLineTest, AValueMayLookLikeAnOptionOrHoldAnEqualsSign)
{
    EXPECT_EQ(askOf({"--model", "--odd", "Why?"}).model, text("--odd"));
    EXPECT_EQ(askOf({"--model=a=b", "Why?"}).model, text("a=b"));
}

TEST(CommandLineTest, AfterTwoDashesEverythingIsQuestion)
{
    const AskArguments ask = askOf({"--model", "m", "--", "--image", "x", "--"});
    EXPECT_EQ(ask.question, text("--image x --"));
    EXPECT_FALSE(ask.imagePath.has_value());
    EXPECT_EQ(ask.model, text("m"));
}

TEST(CommandLineTest, ASingleDashIsAnOrdinaryWord)
{
    EXPECT_EQ(askOf({"-", "-x"}).question, text("- -x"));
}

TEST(CommandLineTest, EachProviderHasItsName)
{
    EXPECT_EQ(askOf({"--provider", "anthropic"}).provider, text("anthropic"));
    EXPECT_EQ(askOf({"--provider", "openai"}).provider, text("openai"));
    for (const char* name : {"", "OpenAI", "claude"})
        EXPECT_EQ(reasonAgainst(words({"ask", "--provider", name})),
                  QStringLiteral("unknown provider: ") + QString::fromUtf8(name));
}

TEST(CommandLineTest, KeyTakesAnActionAndAService)
{
    for (const char* name : {"anthropic", "openai", "replicate"}) {
        for (const auto& [word, action] :
             {std::pair("set", KeyArguments::Action::Set), std::pair("clear", KeyArguments::Action::Clear)}) {
            QString reason;
            const auto line = parseCommandLine(words({"key", word, name}), &reason);
            ASSERT_TRUE(line.has_value()) << reason.toStdString();
            EXPECT_EQ(line->verb, CommandLine::Verb::Key);
            EXPECT_EQ(line->key.action, action);
            EXPECT_EQ(line->key.name, QString::fromUtf8(name));
        }
    }
    QString reason;
    const auto status = parseCommandLine(words({"key", "status"}), &reason);
    ASSERT_TRUE(status.has_value());
    EXPECT_EQ(status->key.action, KeyArguments::Action::Status);
}

TEST(CommandLineTest, AKeyThatWasTypedIntoTheCommandIsNeitherTakenNorRepeated)
{
    for (const auto& arguments :
         {words({"key", "set", "anthropic", "sk-secret"}), words({"key", "set", "sk-secret"}),
          words({"key", "sk-secret"}), words({"key", "status", "sk-secret"}), words({"key", "set"}),
          words({"key", "clear", "Anthropic"}), words({"key"}), words({"keys", "set", "sk-secret"}),
          words({"--key=sk-secret"}), words({"sk-secret"}), words({"--sk-secret"}),
          words({"doctor", "sk-secret"}), words({"annotate", "sk-secret"}), words({"ask", "--key=sk-secret"}),
          words({"--key", "sk-secret"})}) {
        const QString reason = reasonAgainst(arguments);
        EXPECT_FALSE(reason.isEmpty());
        EXPECT_FALSE(reason.contains(QStringLiteral("sk-secret")));
    }
}

TEST(CommandLineTest, WhatIsOursAndNotUnderstoodIsNamed)
{
    EXPECT_TRUE(reasonAgainst(words({"ask", "--provider"})).contains(QStringLiteral("--provider")));
    EXPECT_TRUE(reasonAgainst(words({"ask", "Why?", "--image"})).contains(QStringLiteral("--image")));
    EXPECT_TRUE(reasonAgainst(words({"ask", "--imagefile=x"})).endsWith(QStringLiteral(": --imagefile")));
    EXPECT_TRUE(reasonAgainst(words({"ask", "--stream"})).contains(QStringLiteral("--stream")));
    EXPECT_EQ(reasonAgainst(words({"dance"})), QStringLiteral("unknown command"));
    EXPECT_EQ(reasonAgainst(words({"--help", "me"})), QStringLiteral("\"--help\" is followed by nothing"));
    EXPECT_EQ(reasonAgainst(words({"Ask"})), QStringLiteral("unknown command"));
}

} // namespace velmo
