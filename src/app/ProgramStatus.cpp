#include "app/ProgramStatus.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace velmo {

namespace {

const QString kTapStarted = QStringLiteral("tapStarted");
const QString kTapProblems = QStringLiteral("tapProblems");
const QString kHotkeyProblems = QStringLiteral("hotkeyProblems");
const QString kEnvironment = QStringLiteral("environment");

QStringList strings(const QJsonValue& value)
{
    QStringList list;
    const QJsonArray array = value.toArray();
    for (const auto& each : array)
        list.append(each.toString());
    return list;
}

} // namespace

QString ProgramStatus::toJson() const
{
    QJsonObject status{{kTapStarted, tap.started},
                       {kTapProblems, QJsonArray::fromStringList(tap.problems)},
                       {kHotkeyProblems, QJsonArray::fromStringList(tap.hotkeyProblems)}};
    if (environment)
        status.insert(kEnvironment, environment->toJson());
    return QString::fromUtf8(QJsonDocument(status).toJson(QJsonDocument::Compact));
}

ProgramStatus ProgramStatus::fromJson(const QString& text)
{
    const QJsonObject status = QJsonDocument::fromJson(text.toUtf8()).object();
    return {.tap = {status[kTapStarted].toBool(), strings(status[kTapProblems]),
                    strings(status[kHotkeyProblems])},
            .environment = ServiceEnvironment::fromJson(status[kEnvironment].toObject())};
}

} // namespace velmo
