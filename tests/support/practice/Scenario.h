#pragma once

#include "support/practice/HttpTypes.h"

#include <QByteArrayList>
#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>

namespace velmo::practice {

/// How a request is answered. Kinds that stream say the server's pieces; names are in scenarioNames().
enum class ScenarioKind {
    Answer,              ///< Measures what was received and says so (see Answer.h).
    Pieces,              ///< Says the server's pieces, in good order.
    SlowHead,            ///< Waits headDelay, then as Pieces.
    SlowDrip,            ///< dripPieces pieces (the server's, over and over), dripDelay between them.
    DropBeforeHead,      ///< Closes without a byte.
    ResetBeforeHead,     ///< Resets without a byte.
    DropInBody,          ///< Chunked; closes after cutAfter pieces, without the last chunk.
    DropInBodyLength,    ///< Promises a Content-Length, closes after cutAfter pieces.
    ResetInBody,         ///< Chunked; resets after cutAfter pieces.
    NeverAnswers,        ///< Keeps the connection and says nothing.
    Status401,           ///< These four: the status, with the vendor's JSON error body.
    Status429,           ///< Also has `Retry-After: 7`.
    Status500,           //
    Status529,           //
    StatusEmptyBody,     ///< 500 without a body.
    NonUtf8Body,         ///< 500 with a JSON-like body that is not UTF-8.
    NonUtf8Line,         ///< After cutAfter pieces, one event line that is not UTF-8; then the other pieces.
    Empty200,            ///< 200 without a body.
    InvalidJsonEvents,   ///< Broken JSON and JSON that is no object between valid events, which are written
                         ///< alternately as `data:{` and `data:  {`.
    ErrorEvent,          ///< After cutAfter pieces the vendor's error in the stream, and its end.
    PingsAndComments,    ///< Comments, pings, `id:`/`retry:` lines and blank lines between the pieces.
    Crlf,                ///< Lines end in CR LF.
    StrayCr,             ///< A CR as white space inside the JSON of every piece, and inside comments.
    SplitEverywhere,     ///< Head and body byte by byte; each byte of the body is its own chunk.
    SplitAt,             ///< The body in two chunks, cut at byte splitAt of it, pieceDelay between them.
    MultibyteSplit,      ///< The body in chunks that end inside every multi-byte sequence.
    NoFinalNewline,      ///< Chunked; the last event line has no newline.
    NoFinalNewlineClose, ///< The same, ended by closing the connection.
    DoneInMiddle,        ///< The end marker after cutAfter pieces, then the other pieces.
    RoleOnlyFirst, ///< Several deltas without text (a role, a null, an empty one) before the first piece.
    EmptyDeltas,   ///< An empty text delta before each piece and after the last.
    LongLine,      ///< One event of longLineBytes in one line, then as Pieces.
    HugeStream,    ///< hugeBytes of text in events of hugePieceBytes, made on the fly.
    Redirect302,   ///< To redirectTo, followed by the path of the request.
    Redirect307,   //
    Http10Close,   ///< As Pieces, in HTTP/1.0, ended by closing.
    BadChunk,      ///< After cutAfter pieces a chunk size that is no number.
    OversizedHead, ///< As Pieces, after a header field of oversizedHeadBytes.
    NotHttp,       ///< Bytes that are not HTTP.
    GzipClaimed,   ///< As Pieces, claiming `Content-Encoding: gzip` although it is plain.
    Custom,        ///< status, contentType, headers and blocks as given, for any method and path.
};

/// A kind and its parameters. Plain value; meant for designated initialisers.
struct Scenario {
    ScenarioKind kind = ScenarioKind::Answer;
    std::optional<std::chrono::milliseconds> pieceDelay{}; ///< Between pieces; the server's when not set.
    std::chrono::milliseconds headDelay{1500};
    std::chrono::milliseconds dripDelay{100};
    int dripPieces = 100;
    int cutAfter = -1; ///< Pieces before the fault; -1 for half of them.
    qsizetype splitAt = 0;
    qsizetype longLineBytes = qsizetype{17} * 1024 * 1024;
    qsizetype oversizedHeadBytes = qsizetype{512} * 1024;
    qint64 hugeBytes = qint64{100} * 1024 * 1024; ///< Of text; ASCII, so also characters.
    qsizetype hugePieceBytes = 256;
    /// NoFinalNewline*: the stream ends with its last piece, not with its end marker.
    bool lastEventIsText = false;
    bool echoKey = false; ///< Status*: the error message repeats the API key that was received.
    QString message{};    ///< Status* and ErrorEvent: the error message; a default when empty.
    QString redirectTo{}; ///< Scheme, host and port, as in `http://127.0.0.1:8080`.
    int status = 200;     ///< Custom only, as the three below.
    QByteArray contentType = "text/event-stream";
    HeaderList headers{};
    QByteArrayList blocks{}; ///< Each is one chunk; with a Content-Length among the headers, one write.
};

/// The command line name of a kind, such as `drop-in-body`.
[[nodiscard]] QString scenarioName(ScenarioKind kind);
/// The kind with that name.
[[nodiscard]] std::optional<ScenarioKind> scenarioKind(const QString& name);
/// All names, in the order of the enumeration.
[[nodiscard]] QStringList scenarioNames();

} // namespace velmo::practice
