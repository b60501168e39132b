#pragma once

#include "core/async/Task.h"
#include "platform/HttpClient.h"
#include "updates/UpdateFeed.h"

namespace velmo {

/// What a look at the feed came to.
struct UpdateOutcome {
    enum class Kind {
        NotConfigured,
        Newer,
        UpToDate,
        Ahead, ///< This program is newer than what is announced.
        Expired,
        Unsigned,
        Tampered,
        Malformed,
        Refused, ///< The server answers, but not with a feed.
        TooLarge,
        TimedOut,
        UntrustedServer, ///< Its certificate is not what it should be.
        Offline,
        Unable, ///< What this takes is not installed here, or refuses to do it.
        Unreachable,
    };

    Kind kind = Kind::NotConfigured;
    QVersionNumber latest; ///< With Newer, UpToDate and Ahead.
    QUrl page;             ///< With the same.
    int status = 0;        ///< With Refused.
    QString description;   ///< With the last four: what the network or the library says, in a sentence.
};

/// Asks the feed about releases newer than that one. Three seconds and 64 KiB at most; nothing that the
/// server says counts before its signature is checked. The client outlives the task.
[[nodiscard]] async::Task<UpdateOutcome> checkForUpdate(UpdateSource source, QVersionNumber current,
                                                        HttpClient& http);

/// The same for what has been received.
[[nodiscard]] UpdateOutcome judgeUpdate(const UpdateSource& source, const QVersionNumber& current,
                                        const QByteArray& feed, const QByteArray& signature,
                                        const QDateTime& now);

} // namespace velmo
