// Somebody who looks for a newer version once, and says what a user would read. Usage:
// velmo-update-look KEY ADDRESS, or velmo-update-look KEY FEED SIGNATURE for what has been received.

#include "core/async/TaskScope.h"
#include "platform/linux/CurlHttpClient.h"
#include "updates/UpdateText.h"

#include <QCoreApplication>
#include <cstdio>

namespace velmo {

namespace {

const QVersionNumber kCurrent(0, 1, 0);

void say(const UpdateOutcome& outcome, const UpdateSource& source)
{
    std::puts(describe(outcome, source, kCurrent, {}).text.toUtf8().constData());
}

async::Task<> look(UpdateSource source, HttpClient& http)
{
    const UpdateOutcome outcome = co_await checkForUpdate(source, kCurrent, http);
    say(outcome, source);
    QCoreApplication::quit();
}

} // namespace

} // namespace velmo

int main(int argc, char** argv)
{
    using namespace velmo;
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 3)
        return 2;
    UpdateSource source;
    source.publicKey = QByteArray::fromBase64(arguments.at(1).toLatin1());
    if (arguments.size() > 3) {
        source.feed = QUrl(QStringLiteral("https://example.org/feed.json"));
        say(judgeUpdate(source, kCurrent, arguments.at(2).toUtf8(), arguments.at(3).toUtf8(),
                        QDateTime::currentDateTimeUtc()),
            source);
        return 0;
    }
    source.feed = QUrl(arguments.at(2));
    CurlHttpClient http;
    async::TaskScope scope;
    scope.start(look(source, http));
    return QCoreApplication::exec();
}
