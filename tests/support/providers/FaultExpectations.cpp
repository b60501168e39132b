#include "support/providers/FaultExpectations.h"

#include "support/practice/PracticeServer.h"

namespace velmo {

namespace {

using practice::PracticeServer;
using practice::ScenarioKind;

const QString kLost = QStringLiteral("The network connection was lost.");
const QString kTimedOut = QStringLiteral("The request timed out.");

QStringList alternating(const QStringList& pieces, qsizetype first)
{
    QStringList result;
    for (qsizetype index = first; index < pieces.size(); index += 2)
        result.append(pieces.at(index));
    return result;
}

QStringList betweenEmpties(const QStringList& pieces)
{
    QStringList result{QString()};
    for (const QString& piece : pieces)
        result << piece << QString();
    return result;
}

QString errorBody(Vendor vendor, int status)
{
    const QString message = QStringLiteral("practice failure with status ") + QString::number(status);
    return QString::fromUtf8(dialectOf(vendor)->errorBody(status, message));
}

Expectation ofStatus(ScenarioKind kind, Vendor vendor, int status)
{
    const QString text = QStringLiteral("HTTP error ") + QString::number(status) + QStringLiteral(": ");
    return {{.kind = kind}, {}, text + errorBody(vendor, status), false, false, status};
}

/// Pieces that are sent over and over.
QStringList repeated(const QStringList& pieces, int count)
{
    QStringList result;
    for (int index = 0; index < count; ++index)
        result.append(pieces.at(index % pieces.size()));
    return result;
}

} // namespace

Expectation expectationOf(ScenarioKind kind, Vendor vendor)
{
    using namespace std::chrono_literals;
    const QStringList all = PracticeServer::defaultPieces();
    const QStringList half = all.first(3);
    switch (kind) {
    case ScenarioKind::Pieces:
    case ScenarioKind::NonUtf8Line:
    case ScenarioKind::PingsAndComments:
    case ScenarioKind::Crlf:
    case ScenarioKind::StrayCr:
    case ScenarioKind::SplitEverywhere:
    case ScenarioKind::MultibyteSplit:
    case ScenarioKind::DoneInMiddle:
    case ScenarioKind::LongLine:
    case ScenarioKind::Http10Close:
        return {{.kind = kind}, all, {}};
    case ScenarioKind::NoFinalNewline:
    case ScenarioKind::NoFinalNewlineClose:
        return {{.kind = kind, .lastEventIsText = true}, all, {}};
    case ScenarioKind::SplitAt:
        return {{.kind = kind, .pieceDelay = 20ms, .splitAt = 300}, all, {}};
    case ScenarioKind::SlowHead:
        return {{.kind = kind, .headDelay = 200ms}, all, {}};
    case ScenarioKind::SlowDrip:
        return {{.kind = kind, .dripDelay = 10ms, .dripPieces = 20}, repeated(all, 20), {}};
    case ScenarioKind::Empty200:
        return {{.kind = kind}, {}, {}};
    case ScenarioKind::InvalidJsonEvents:
        // Every other event has no blank after the colon and does not count; the others have two.
        return {{.kind = kind}, alternating(all, 1), {}};
    case ScenarioKind::ErrorEvent:
        return {{.kind = kind}, half, {}};
    case ScenarioKind::RoleOnlyFirst:
        return {{.kind = kind}, QStringList{QString()} + all, {}};
    case ScenarioKind::EmptyDeltas:
        return {{.kind = kind}, betweenEmpties(all), {}};
    case ScenarioKind::HugeStream:
        return {{.kind = kind, .hugeBytes = 1024 * 1024, .hugePieceBytes = 21},
                QStringList(1024 * 1024 / 21, QStringLiteral("all work and no play ")) +
                    QStringList{QStringLiteral("all ")},
                {}};
    case ScenarioKind::DropBeforeHead:
    case ScenarioKind::ResetBeforeHead:
        return {{.kind = kind}, {}, kLost, true, true};
    case ScenarioKind::NeverAnswers:
        return {{.kind = kind}, {}, kTimedOut, true, true};
    case ScenarioKind::DropInBody:
    case ScenarioKind::DropInBodyLength:
    case ScenarioKind::ResetInBody:
        return {{.kind = kind}, half, kLost};
    case ScenarioKind::BadChunk:
        return {{.kind = kind}, half, QStringLiteral("The request failed: ")};
    case ScenarioKind::GzipClaimed:
        return {{.kind = kind}, {}, QStringLiteral("The request failed: ")};
    case ScenarioKind::OversizedHead:
    case ScenarioKind::NotHttp:
        return {{.kind = kind}, {}, QStringLiteral("The request failed: "), false, true};
    case ScenarioKind::Status401:
        return ofStatus(kind, vendor, 401);
    case ScenarioKind::Status429:
        return ofStatus(kind, vendor, 429);
    case ScenarioKind::Status500:
        return ofStatus(kind, vendor, 500);
    case ScenarioKind::Status529:
        return ofStatus(kind, vendor, 529);
    case ScenarioKind::StatusEmptyBody:
        return {{.kind = kind}, {}, QStringLiteral("HTTP error 500"), false, false, 500};
    case ScenarioKind::NonUtf8Body:
        return {{.kind = kind}, {}, QStringLiteral("HTTP error 500: <non-utf8 body>"), false, false, 500};
    case ScenarioKind::Redirect302:
        return {{.kind = kind, .redirectTo = QStringLiteral("http://127.0.0.1:1")},
                {},
                QStringLiteral("HTTP error 302"),
                false,
                false,
                302};
    case ScenarioKind::Redirect307:
        return {{.kind = kind, .redirectTo = QStringLiteral("http://127.0.0.1:1")},
                {},
                QStringLiteral("HTTP error 307"),
                false,
                false,
                307};
    case ScenarioKind::Custom:
        // Only 200 is a stream, however well another status sounds.
        return {{.kind = kind, .status = 203, .blocks = {"a note"}},
                {},
                QStringLiteral("HTTP error 203: a note"),
                false,
                false,
                203};
    case ScenarioKind::Answer:
        break;
    }
    return {{.kind = kind}, {}, {}};
}

} // namespace velmo
