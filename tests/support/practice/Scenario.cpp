#include "support/practice/Scenario.h"

#include <array>
#include <utility>

namespace velmo::practice {

namespace {

using Entry = std::pair<ScenarioKind, const char*>;

constexpr std::array kNames{
    Entry{ScenarioKind::Answer, "answer"},
    Entry{ScenarioKind::Pieces, "pieces"},
    Entry{ScenarioKind::SlowHead, "slow-head"},
    Entry{ScenarioKind::SlowDrip, "slow-drip"},
    Entry{ScenarioKind::DropBeforeHead, "drop-before-head"},
    Entry{ScenarioKind::ResetBeforeHead, "reset-before-head"},
    Entry{ScenarioKind::DropInBody, "drop-in-body"},
    Entry{ScenarioKind::DropInBodyLength, "drop-in-body-length"},
    Entry{ScenarioKind::ResetInBody, "reset-in-body"},
    Entry{ScenarioKind::NeverAnswers, "never-answers"},
    Entry{ScenarioKind::Status401, "status-401"},
    Entry{ScenarioKind::Status429, "status-429"},
    Entry{ScenarioKind::Status500, "status-500"},
    Entry{ScenarioKind::Status529, "status-529"},
    Entry{ScenarioKind::StatusEmptyBody, "status-empty-body"},
    Entry{ScenarioKind::NonUtf8Body, "non-utf8-body"},
    Entry{ScenarioKind::NonUtf8Line, "non-utf8-line"},
    Entry{ScenarioKind::Empty200, "empty-200"},
    Entry{ScenarioKind::InvalidJsonEvents, "invalid-json-events"},
    Entry{ScenarioKind::ErrorEvent, "error-event"},
    Entry{ScenarioKind::PingsAndComments, "pings-and-comments"},
    Entry{ScenarioKind::Crlf, "crlf"},
    Entry{ScenarioKind::StrayCr, "stray-cr"},
    Entry{ScenarioKind::SplitEverywhere, "split-everywhere"},
    Entry{ScenarioKind::SplitAt, "split-at"},
    Entry{ScenarioKind::MultibyteSplit, "multibyte-split"},
    Entry{ScenarioKind::NoFinalNewline, "no-final-newline"},
    Entry{ScenarioKind::NoFinalNewlineClose, "no-final-newline-close"},
    Entry{ScenarioKind::DoneInMiddle, "done-in-middle"},
    Entry{ScenarioKind::RoleOnlyFirst, "role-only-first"},
    Entry{ScenarioKind::EmptyDeltas, "empty-deltas"},
    Entry{ScenarioKind::LongLine, "long-line"},
    Entry{ScenarioKind::HugeStream, "huge-stream"},
    Entry{ScenarioKind::Redirect302, "redirect-302"},
    Entry{ScenarioKind::Redirect307, "redirect-307"},
    Entry{ScenarioKind::Http10Close, "http-1.0"},
    Entry{ScenarioKind::BadChunk, "bad-chunk"},
    Entry{ScenarioKind::OversizedHead, "oversized-head"},
    Entry{ScenarioKind::NotHttp, "not-http"},
    Entry{ScenarioKind::GzipClaimed, "gzip-claimed"},
    Entry{ScenarioKind::Custom, "custom"},
};

} // namespace

QString scenarioName(ScenarioKind kind)
{
    for (const auto& [candidate, name] : kNames) {
        if (candidate == kind) {
            return QString::fromLatin1(name);
        }
    }
    return {};
}

std::optional<ScenarioKind> scenarioKind(const QString& name)
{
    for (const auto& [kind, candidate] : kNames) {
        if (name == QLatin1String(candidate)) {
            return kind;
        }
    }
    return std::nullopt;
}

QStringList scenarioNames()
{
    QStringList names;
    for (const auto& [kind, name] : kNames) {
        names.append(QString::fromLatin1(name));
    }
    return names;
}

} // namespace velmo::practice
