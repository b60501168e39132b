#include "platform/linux/JsonFileDefaults.h"
#include "support/core/Environment.h"
#include "support/core/EventLoop.h"
#include "support/core/Printing.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace velmo {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SettingsFileTest : public testing::Test {
protected:
    [[nodiscard]] QString folder() const { return root_.filePath(QStringLiteral("velmo")); }
    [[nodiscard]] QString path() const { return folder() + QStringLiteral("/settings.json"); }
    [[nodiscard]] QString aside() const { return path() + QStringLiteral(".bad"); }

    void write(const QByteArray& content) const
    {
        ASSERT_TRUE(QDir().mkpath(folder()));
        QFile file(path());
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_EQ(file.write(content), content.size());
    }
    [[nodiscard]] static QByteArray read(const QString& name)
    {
        QFile file(name);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    [[nodiscard]] QJsonObject stored() const { return QJsonDocument::fromJson(read(path())).object(); }

    static inline const QString kKey = QStringLiteral("key");

private:
    QTemporaryDir root_;
};

TEST_F(SettingsFileTest, AMissingFileIsEmptyAndNoProblem)
{
    JsonFileDefaults defaults(path());

    EXPECT_TRUE(defaults.object(kKey).isUndefined());
    EXPECT_THAT(defaults.takeProblems(), IsEmpty());
    EXPECT_FALSE(QFile::exists(folder())) << "nothing is made before something is stored";
}

TEST_F(SettingsFileTest, ValuesAreVisibleAtOnceAndStoredLater)
{
    JsonFileDefaults defaults(path());
    defaults.setObject(kKey, 5);
    EXPECT_EQ(defaults.object(kKey), QJsonValue(5));
    EXPECT_FALSE(QFile::exists(path()));

    ASSERT_TRUE(turnUntil([this] { return QFile::exists(path()); }));
    EXPECT_EQ(stored().value(kKey), QJsonValue(5));
}

TEST_F(SettingsFileTest, TypesSurvive)
{
    const QJsonObject values{{QStringLiteral("text"), QStringLiteral("é\U0001F600\n\"%1")},
                             {QStringLiteral("number"), 1572864},
                             {QStringLiteral("real"), 3.7},
                             {QStringLiteral("digits"), QStringLiteral("36")},
                             {QStringLiteral("truth"), true},
                             {QStringLiteral("list"), QJsonArray{1, 2}}};
    {
        JsonFileDefaults defaults(path());
        for (auto value = values.begin(); value != values.end(); ++value)
            defaults.setObject(value.key(), value.value());
    }
    const JsonFileDefaults again(path());
    for (auto value = values.begin(); value != values.end(); ++value)
        EXPECT_EQ(again.object(value.key()), value.value()) << value.key().toStdString();
}

TEST_F(SettingsFileTest, DestructionStoresWhatIsLeft)
{
    {
        JsonFileDefaults defaults(path());
        defaults.setObject(kKey, QStringLiteral("last"));
    }
    EXPECT_EQ(stored().value(kKey), QJsonValue(QStringLiteral("last")));
}

TEST_F(SettingsFileTest, TheLastValueOfAKeyCounts)
{
    {
        JsonFileDefaults defaults(path());
        for (int value = 0; value < 10; ++value)
            defaults.setObject(kKey, value);
        defaults.flush();
        defaults.setObject(kKey, 10);
    }
    EXPECT_EQ(stored().value(kKey), QJsonValue(10));
}

TEST_F(SettingsFileTest, TheFileIsForItsOwnerOnly)
{
    write("{}");
    ASSERT_EQ(chmod(QFile::encodeName(path()).constData(), 0644), 0);
    {
        JsonFileDefaults defaults(path());
        defaults.setObject(kKey, 1);
    }
    struct stat status {};
    ASSERT_EQ(stat(QFile::encodeName(path()).constData(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0600U);
}

TEST_F(SettingsFileTest, KeysOfOthersAreKept)
{
    write(R"({"unknown": {"deep": [1, null]}, "key": 1})");
    {
        JsonFileDefaults defaults(path());
        defaults.setObject(kKey, 2);
    }
    EXPECT_EQ(stored(), QJsonDocument::fromJson(R"({"unknown": {"deep": [1, null]}, "key": 2})").object());
}

TEST_F(SettingsFileTest, TwoWritersAreMerged)
{
    JsonFileDefaults first(path());
    JsonFileDefaults second(path());
    first.setObject(QStringLiteral("a"), 1);
    first.setObject(QStringLiteral("shared"), QStringLiteral("first"));
    first.flush();
    second.setObject(QStringLiteral("b"), 2);
    second.setObject(QStringLiteral("shared"), QStringLiteral("second"));
    second.flush();

    EXPECT_EQ(stored(), (QJsonObject{{QStringLiteral("a"), 1},
                                     {QStringLiteral("b"), 2},
                                     {QStringLiteral("shared"), QStringLiteral("second")}}));
}

TEST_F(SettingsFileTest, NothingIsLeftBesideTheFile)
{
    {
        JsonFileDefaults defaults(path());
        defaults.setObject(kKey, 1);
    }
    EXPECT_THAT(QDir(folder()).entryList(QDir::Files | QDir::Hidden), ElementsAre(u"settings.json"));
}

TEST_F(SettingsFileTest, ALinkedFileStaysALink)
{
    ASSERT_TRUE(QDir().mkpath(folder()));
    const QString target = folder() + QStringLiteral("/elsewhere.json");
    ASSERT_TRUE(QFile::link(target, path()));
    QFile file(target);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(R"({"old": 1})");
    file.close();
    {
        JsonFileDefaults defaults(path());
        EXPECT_EQ(defaults.object(QStringLiteral("old")), QJsonValue(1));
        defaults.setObject(kKey, 2);
    }
    EXPECT_TRUE(QFileInfo(path()).isSymLink()) << "people keep their settings under version control";
    EXPECT_EQ(QJsonDocument::fromJson(read(target)).object(),
              (QJsonObject{{QStringLiteral("old"), 1}, {kKey, 2}}));
}

TEST_F(SettingsFileTest, LivesInTheConfigurationFolder)
{
    const EnvironmentVariable home("XDG_CONFIG_HOME", QByteArray("/somewhere/config"));
    EXPECT_EQ(JsonFileDefaults::standardPath(), u"/somewhere/config/velmo/settings.json");
}

/// Content that cannot be understood, and a name for it.
struct Damage {
    const char* name;
    QByteArray content;
};

class DamagedSettingsFileTest : public SettingsFileTest, public testing::WithParamInterface<Damage> {};

TEST_P(DamagedSettingsFileTest, IsKeptAsideAndTold)
{
    write(GetParam().content);
    {
        JsonFileDefaults defaults(path());
        EXPECT_TRUE(defaults.object(kKey).isUndefined());
        const QStringList problems = defaults.takeProblems();
        ASSERT_EQ(problems.size(), 1);
        EXPECT_TRUE(problems[0].startsWith(QStringLiteral("Settings file ") + path() +
                                           QStringLiteral(" could not be read (")))
            << problems[0].toStdString();
        EXPECT_TRUE(
            problems[0].endsWith(QStringLiteral("); using the defaults, the file is kept as ") + aside()));
        EXPECT_THAT(defaults.takeProblems(), IsEmpty());
        EXPECT_EQ(read(aside()), GetParam().content);
        EXPECT_FALSE(QFile::exists(path()));
        defaults.setObject(kKey, 1);
    }
    EXPECT_EQ(stored(), (QJsonObject{{kKey, 1}}));
    EXPECT_EQ(read(aside()), GetParam().content);
}

INSTANTIATE_TEST_SUITE_P(Contents, DamagedSettingsFileTest,
                         testing::Values(Damage{"Truncated", R"({"key": "val)"}, Damage{"Empty", ""},
                                         Damage{"NotJson", "key=value\n"}, Damage{"AList", "[1, 2]"},
                                         Damage{"Zeros", QByteArray(64, '\0')},
                                         Damage{"NotUtf8", "{\"key\": \"\xFF\"}"},
                                         Damage{"TwoObjects", "{}{}"}),
                         [](const auto& damage) { return std::string(damage.param.name); });

} // namespace
} // namespace velmo
