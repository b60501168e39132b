#pragma once

#include "support/practice/HttpTypes.h"
#include "support/practice/ResponsePlan.h"

#include <QHash>
#include <QString>

namespace velmo::practice {

/// How the speech service behaves. Plain value; the defaults are a transcription that succeeds at the third
/// poll.
struct SpeechOptions {
    enum class End { Succeeded, Failed, Canceled, NeverFinishes };
    enum class Shape {
        ObjectText,          ///< {"text": "..."}
        ObjectTranscription, ///< {"transcription": "..."}
        String,              ///< "..."
        StringList,          ///< The words, each but the first with the space before it.
        ObjectList,          ///< The words, as {"text": " word"}.
        Nothing,             ///< null
    };

    int createStatus = 201; ///< Anything from 300 answers an error body instead of a prediction.
    int pollStatus = 200;
    int pollsBeforeEnd = 2; ///< How many polls say that the work goes on.
    End end = End::Succeeded;
    bool endsAtCreation = false; ///< The answer to the POST already has the end and the output.
    Shape shape = Shape::ObjectText;
    QString text{};           ///< By default `practice transcript of N audio bytes`.
    QString error{};          ///< With Failed; by default `practice failure`.
    QString pollOrigin{};     ///< Scheme, host and port of the poll URL, when not this server.
    bool omitPollUrl = false; ///< The answer to the POST has no `urls`.
    bool invalidJsonAtCreation = false;
    bool invalidJsonAtPoll = false;
    bool echoKey = false; ///< Error bodies repeat the key that was received.
};

/// Creates predictions and answers polls for them. Used by one thread.
class SpeechDesk {
public:
    /// Whether a path belongs to the speech service.
    [[nodiscard]] static bool serves(const QByteArray& plainPath);

    /// `origin` is scheme, host and port as the client knows them.
    [[nodiscard]] ResponsePlan answer(const RecordedRequest& request, const SpeechOptions& options,
                                      const QByteArray& origin);

    [[nodiscard]] static QByteArray errorBody(int status, const QString& message);

private:
    struct Prediction {
        qsizetype audioBytes = 0;
        int polls = 0;
    };

    [[nodiscard]] ResponsePlan create(const RecordedRequest& request, const SpeechOptions& options,
                                      const QByteArray& origin);
    [[nodiscard]] ResponsePlan poll(const QByteArray& id, const SpeechOptions& options);

    QHash<QByteArray, Prediction> predictions_;
};

} // namespace velmo::practice
