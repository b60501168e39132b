#include "core/Identity.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <gmock/gmock.h>
#include <memory>

namespace velmo {
namespace {

using testing::IsEmpty;

/// The program, installed once for all tests into a prefix of their own.
class Installation : public testing::Test {
protected:
    static void SetUpTestSuite()
    {
        prefix = std::make_unique<QTemporaryDir>();
        ASSERT_EQ(QProcess::execute(QStringLiteral(VELMO_CMAKE),
                                    {QStringLiteral("--install"), QStringLiteral(VELMO_BUILD_DIRECTORY),
                                     QStringLiteral("--prefix"), prefix->path()}),
                  0);
    }
    static void TearDownTestSuite() { prefix.reset(); }

    [[nodiscard]] static QString installed(const QString& path) { return prefix->filePath(path); }

    /// What a checker complains of.
    [[nodiscard]] static std::string complaints(const QString& checker, const QStringList& arguments)
    {
        QProcess process;
        process.setProcessChannelMode(QProcess::MergedChannels);
        process.start(checker, arguments);
        if (!process.waitForFinished())
            return "it does not run";
        return process.exitCode() == 0 ? std::string() : process.readAll().toStdString();
    }

    [[nodiscard]] static QByteArray contentOf(const QString& path)
    {
        QFile file(installed(path));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    /// The words after "Exec=", each without the program's name.
    [[nodiscard]] static QStringList commandsOf(const QString& path)
    {
        QStringList commands;
        const auto lines = contentOf(path).split('\n');
        for (const QByteArray& line : lines) {
            if (line.startsWith("Exec="))
                commands.append(QString::fromUtf8(line.sliced(5)));
        }
        return commands;
    }

    static inline std::unique_ptr<QTemporaryDir> prefix;
    static inline const QString kEntry =
        QStringLiteral("share/applications/") + applicationIdentifier() + QStringLiteral(".desktop");
    static inline const QString kAutostart =
        QStringLiteral("share/velmo/autostart/") + applicationIdentifier() + QStringLiteral(".desktop");
    static inline const QString kService =
        QStringLiteral("share/dbus-1/services/") + applicationIdentifier() + QStringLiteral(".service");
};

TEST_F(Installation, TheProgramRunsFromItsPrefix)
{
    QProcess program;
    program.start(installed(QStringLiteral("bin/velmo")), {QStringLiteral("--version")});
    ASSERT_TRUE(program.waitForFinished());
    EXPECT_EQ(program.exitCode(), 0);
    EXPECT_TRUE(program.readAllStandardOutput().startsWith("velmo "));
}

TEST_F(Installation, TheEntriesAreAsDesktopsWantThem)
{
    for (const QString& path : {kEntry, kAutostart})
        EXPECT_THAT(complaints(QStringLiteral("desktop-file-validate"), {installed(path)}), IsEmpty());
}

TEST_F(Installation, TheDescriptionIsAsSoftwareCentresWantIt)
{
    EXPECT_THAT(complaints(QStringLiteral("appstreamcli"),
                           {QStringLiteral("validate"), QStringLiteral("--no-net"),
                            installed(QStringLiteral("share/metainfo/") + applicationIdentifier() +
                                      QStringLiteral(".metainfo.xml"))}),
                IsEmpty());
}

TEST_F(Installation, EveryCommandOfAnEntryIsUnderstood)
{
    EXPECT_EQ(commandsOf(kEntry),
              (QStringList{QStringLiteral("velmo"), QStringLiteral("velmo annotate"),
                           QStringLiteral("velmo settings"), QStringLiteral("velmo quit")}));
    EXPECT_EQ(commandsOf(kAutostart), QStringList{QStringLiteral("velmo --background")});
}

TEST_F(Installation, TheBusFindsTheProgramByTheApplicationsName)
{
    const QByteArray service = contentOf(kService);
    EXPECT_TRUE(service.contains("Name=" + QByteArray(kApplicationIdentifier) + '\n')) << service.constData();
    EXPECT_EQ(commandsOf(kService),
              QStringList{installed(QStringLiteral("bin/velmo")) + QStringLiteral(" --background")});
}

TEST_F(Installation, TheIconHasTheNameThatTheEntriesGive)
{
    EXPECT_TRUE(contentOf(kEntry).contains("Icon=" + QByteArray(kApplicationIdentifier) + '\n'));
    EXPECT_TRUE(contentOf(QStringLiteral("share/icons/hicolor/scalable/apps/") + applicationIdentifier() +
                          QStringLiteral(".svg"))
                    .startsWith("<svg "));
}

} // namespace
} // namespace velmo
