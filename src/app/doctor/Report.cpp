#include "app/doctor/Report.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <algorithm>

namespace velmo {

namespace {

QString markOf(Finding::State state)
{
    switch (state) {
    case Finding::State::Fine:
        return QStringLiteral("ok   ");
    case Finding::State::Limited:
        return QStringLiteral("note ");
    case Finding::State::Broken:
        break;
    }
    return QStringLiteral("FAIL ");
}

QString wordOf(Finding::State state)
{
    switch (state) {
    case Finding::State::Fine:
        return QStringLiteral("fine");
    case Finding::State::Limited:
        return QStringLiteral("limited");
    case Finding::State::Broken:
        break;
    }
    return QStringLiteral("broken");
}

QString conclusion(const Findings& findings)
{
    const auto count = std::ranges::count(findings, Finding::State::Broken, &Finding::state);
    if (count == 0)
        return QStringLiteral("Velmo can do its main job here.\n");
    return QStringLiteral("Velmo cannot do its main job here: ") + QString::number(count) +
           (count == 1 ? QStringLiteral(" thing is in the way.\n")
                       : QStringLiteral(" things are in the way.\n"));
}

} // namespace

bool canWork(const Findings& findings)
{
    return std::ranges::none_of(
        findings, [](const Finding& finding) { return finding.state == Finding::State::Broken; });
}

QString reportAsText(const Findings& findings)
{
    qsizetype width = 0;
    for (const Finding& finding : findings)
        width = std::max(width, finding.area.size());
    const QString indent(width + 7, u' ');
    QString text;
    QString area;
    for (const Finding& finding : findings) {
        // Several lines about one thing name it once.
        const QString shown = finding.area == area ? QString() : finding.area;
        area = finding.area;
        text += markOf(finding.state) + shown.leftJustified(width + 2) + finding.text + u'\n';
        if (!finding.advice.isEmpty())
            text += indent + QStringLiteral("-> ") + finding.advice + u'\n';
    }
    return text + u'\n' + conclusion(findings);
}

QString reportAsJson(const Findings& findings, const QString& version)
{
    QJsonArray list;
    for (const Finding& finding : findings) {
        QJsonObject object{{QStringLiteral("area"), finding.area},
                           {QStringLiteral("state"), wordOf(finding.state)},
                           {QStringLiteral("text"), finding.text}};
        if (!finding.advice.isEmpty())
            object.insert(QStringLiteral("advice"), finding.advice);
        if (!finding.details.isEmpty())
            object.insert(QStringLiteral("details"), finding.details);
        list.append(object);
    }
    const QJsonObject report{{QStringLiteral("velmo"), version},
                             {QStringLiteral("works"), canWork(findings)},
                             {QStringLiteral("findings"), list}};
    return QString::fromUtf8(QJsonDocument(report).toJson());
}

} // namespace velmo
