// Every state against every operation: what changes the state, and that nothing else does.

#include "support/core/SessionTest.h"

#include <array>

namespace velmo {
namespace {

/// The states of the session, with the two kinds of drawing told apart.
enum class Phase { Idle, Drawing, Querying, Streaming, QueryingAgain, DrawingMore };

enum class Operation {
    Begin,
    BeginWithDraw,
    Advance,
    ReleaseStroke,
    BeginAdditional,
    BeginAdditionalWithDraw,
    Submit,
    AnswerEnds,
    AnswerFails,
    Cancel,
    HideForHint,
    RestoreAfterHint,
    NoteDrawing,
    ContinueDraw,
    RemoveUnknown,
};

struct Row {
    Phase from;
    Operation operation;
    SessionState to;
};

constexpr std::array kOperations{
    Operation::Begin,         Operation::BeginWithDraw,   Operation::Advance,
    Operation::ReleaseStroke, Operation::BeginAdditional, Operation::BeginAdditionalWithDraw,
    Operation::Submit,        Operation::AnswerEnds,      Operation::AnswerFails,
    Operation::Cancel,        Operation::HideForHint,     Operation::RestoreAfterHint,
    Operation::NoteDrawing,   Operation::ContinueDraw,    Operation::RemoveUnknown,
};

/// The transitions; every other pair leaves the state as it is.
constexpr std::array kTransitions{
    Row{Phase::Idle, Operation::Begin, SessionState::Drawing},
    Row{Phase::Idle, Operation::BeginWithDraw, SessionState::Drawing},
    Row{Phase::Drawing, Operation::Advance, SessionState::Querying},
    Row{Phase::Drawing, Operation::ReleaseStroke, SessionState::Querying},
    Row{Phase::Drawing, Operation::Cancel, SessionState::Idle},
    Row{Phase::Querying, Operation::Submit, SessionState::Streaming},
    Row{Phase::Querying, Operation::Cancel, SessionState::Idle},
    Row{Phase::Streaming, Operation::AnswerEnds, SessionState::Querying},
    Row{Phase::Streaming, Operation::AnswerFails, SessionState::Querying},
    Row{Phase::Streaming, Operation::Cancel, SessionState::Idle},
    Row{Phase::QueryingAgain, Operation::BeginAdditional, SessionState::Drawing},
    Row{Phase::QueryingAgain, Operation::BeginAdditionalWithDraw, SessionState::Drawing},
    Row{Phase::QueryingAgain, Operation::Submit, SessionState::Streaming},
    Row{Phase::QueryingAgain, Operation::Cancel, SessionState::Idle},
    Row{Phase::DrawingMore, Operation::Advance, SessionState::Querying},
    Row{Phase::DrawingMore, Operation::ReleaseStroke, SessionState::Querying},
    Row{Phase::DrawingMore, Operation::Cancel, SessionState::Querying},
};

[[nodiscard]] SessionState stateOf(Phase phase)
{
    switch (phase) {
    case Phase::Idle:
        return SessionState::Idle;
    case Phase::Drawing:
    case Phase::DrawingMore:
        return SessionState::Drawing;
    case Phase::Querying:
    case Phase::QueryingAgain:
        return SessionState::Querying;
    case Phase::Streaming:
        return SessionState::Streaming;
    }
    return SessionState::Idle;
}

class StateTableTest : public SessionTest, public testing::WithParamInterface<Phase> {
protected:
    void reach(Phase phase)
    {
        session->cancel();
        settle();
        if (phase == Phase::Idle)
            return;
        session->begin(true);
        overlay().canvas.beginStroke({1, 1});
        if (phase == Phase::Drawing)
            return;
        session->advanceToQuery();
        settle();
        deliverCapture("first");
        if (phase == Phase::Querying)
            return;
        ask(QStringLiteral("Q1"));
        if (phase == Phase::Streaming)
            return;
        answer(anthropic, {QStringLiteral("A1")});
        if (phase == Phase::QueryingAgain)
            return;
        session->beginAdditionalCapture(true);
        overlay().canvas.beginStroke({1, 1});
    }

    void perform(Operation operation)
    {
        switch (operation) {
        case Operation::Begin:
            return session->begin(true);
        case Operation::BeginWithDraw:
            return session->beginWithDraw({10, 10});
        case Operation::Advance:
            return session->advanceToQuery();
        case Operation::ReleaseStroke:
            return session->endMiddleDraw();
        case Operation::BeginAdditional:
            return session->beginAdditionalCapture(true);
        case Operation::BeginAdditionalWithDraw:
            return session->beginAdditionalCaptureWithDraw({10, 10});
        case Operation::Submit:
            return session->submit(QStringLiteral("Q"));
        case Operation::AnswerEnds:
            if (!anthropic.requests.empty())
                anthropic.requests.back().answer.finish();
            return;
        case Operation::AnswerFails:
            if (!anthropic.requests.empty())
                anthropic.requests.back().answer.fail(LLMError::httpError(500, std::nullopt));
            return;
        case Operation::Cancel:
            return session->cancel();
        case Operation::HideForHint:
            return session->hideChatForHint();
        case Operation::RestoreAfterHint:
            return session->restoreChatAfterHint();
        case Operation::NoteDrawing:
            return session->noteDrawingBegan({10, 10});
        case Operation::ContinueDraw:
            return session->continueDraw({10, 10});
        case Operation::RemoveUnknown:
            return session->removeAttachmentMessage(QUuid::createUuid());
        }
    }

    [[nodiscard]] static SessionState expected(Phase phase, Operation operation)
    {
        for (const Row& row : kTransitions) {
            if (row.from == phase && row.operation == operation)
                return row.to;
        }
        return stateOf(phase);
    }
};

TEST_P(StateTableTest, OnlyTheListedOperationsChangeTheState)
{
    for (const Operation operation : kOperations) {
        anthropic.requests.clear();
        reach(GetParam());
        ASSERT_EQ(state(), stateOf(GetParam()));
        perform(operation);
        settle();
        EXPECT_EQ(state(), expected(GetParam(), operation))
            << "operation number " << static_cast<int>(operation);
    }
}

INSTANTIATE_TEST_SUITE_P(Phases, StateTableTest,
                         testing::Values(Phase::Idle, Phase::Drawing, Phase::Querying, Phase::Streaming,
                                         Phase::QueryingAgain, Phase::DrawingMore));

} // namespace
} // namespace velmo
