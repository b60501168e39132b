#include "updates/UpdateText.h"

namespace velmo {

namespace {

using Kind = UpdateOutcome::Kind;

constexpr int kStatusNotFound = 404;

QString refusal(int status, const QString& host)
{
    if (status == kStatusNotFound)
        return QStringLiteral("Nothing is announced at ") + host + QStringLiteral(" (404).");
    return host + QStringLiteral(" answered with status ") + QString::number(status) + u'.';
}

/// Why nothing is known about the latest version.
QString reason(const UpdateOutcome& outcome, const QString& host)
{
    switch (outcome.kind) {
    case Kind::Expired:
        return QStringLiteral(
            "What is announced is out of date, so there may be a newer version that it does not tell of.");
    case Kind::Unsigned:
        return QStringLiteral("What is announced at ") + host +
               QStringLiteral(" is not signed, so it was not read.");
    case Kind::Tampered:
        return QStringLiteral("What is announced at ") + host +
               QStringLiteral(" does not fit its signature: somebody has changed it. It was not read.");
    case Kind::Malformed:
        return QStringLiteral("What is announced at ") + host +
               QStringLiteral(" is signed, but this version does not understand it.");
    case Kind::Refused:
        return refusal(outcome.status, host);
    case Kind::TooLarge:
        return host + QStringLiteral(" sent far more than an announcement.");
    case Kind::TimedOut:
        return host + QStringLiteral(" did not answer in time.");
    case Kind::UntrustedServer:
        return host + QStringLiteral(" could not prove who it is: ") + outcome.description;
    case Kind::Offline:
    case Kind::Unable:
        return outcome.description;
    case Kind::Unreachable:
        return host + QStringLiteral(" could not be reached: ") + outcome.description;
    case Kind::NotConfigured:
    case Kind::Newer:
    case Kind::UpToDate:
    case Kind::Ahead:
        break;
    }
    return {};
}

UpdateMessage plainMessage(const UpdateOutcome& outcome, const QString& host, const QString& current)
{
    switch (outcome.kind) {
    case Kind::NotConfigured:
        return {QStringLiteral("Updates Are Not Announced to This Build"),
                QStringLiteral("You have Velmo ") + current +
                    QStringLiteral(". It was built without an address where new versions are announced.")};
    case Kind::Newer:
        return {QStringLiteral("Velmo ") + outcome.latest.toString() + QStringLiteral(" Is Available"),
                QStringLiteral("You have Velmo ") + current + u'.', true};
    case Kind::UpToDate:
        return {QStringLiteral("Velmo Is Up to Date"),
                QStringLiteral("You have Velmo ") + current + QStringLiteral(", the latest version.")};
    case Kind::Ahead:
        return {QStringLiteral("Velmo Is Up to Date"),
                QStringLiteral("You have Velmo ") + current +
                    QStringLiteral(", which is newer than the latest announced version, ") +
                    outcome.latest.toString() + u'.'};
    default:
        return {QStringLiteral("Velmo Could Not Check for Updates"),
                reason(outcome, host) + QStringLiteral(" You have Velmo ") + current + u'.'};
    }
}

} // namespace

UpdateMessage describe(const UpdateOutcome& outcome, const UpdateSource& source,
                       const QVersionNumber& current, const QString& packageManager)
{
    UpdateMessage message = plainMessage(outcome, source.feed.host(), current.toString());
    if (!packageManager.isEmpty()) {
        message.text += QStringLiteral(" It was installed by ") + packageManager +
                        QStringLiteral(", and updates come from there.");
    }
    return message;
}

} // namespace velmo
