#include "providers/AnthropicProvider.h"
#include "providers/OpenAIProvider.h"
#include "support/core/Printing.h"

#include <gmock/gmock.h>

namespace velmo {

namespace {

/// A line of a stream and the piece of text in it, if any.
struct Line {
    const char* name;
    QByteArray line;
    std::optional<QString> piece;
};

void PrintTo(const Line& line, std::ostream* out)
{
    *out << line.name << ": " << line.line.constData();
}

std::string nameOf(const testing::TestParamInfo<Line>& info)
{
    return info.param.name;
}

std::optional<QString> text(const char* utf8)
{
    return QString::fromUtf8(utf8);
}

QByteArray deep(int levels)
{
    return "data: " + QByteArray("{\"a\":").repeated(levels) + "1" + QByteArray("}").repeated(levels);
}

/// What both services may send that says nothing.
std::vector<Line> silentLines()
{
    return {
        {"Empty", "", {}},
        {"EventName", "event: content_block_delta", {}},
        {"Comment", ": keep-alive", {}},
        {"OnlyTheField", "data:", {}},
        {"OnlyTheFieldAndABlank", "data: ", {}},
        {"DoneMarker", "data: [DONE]", {}},
        {"NotJson", "data: {\"type\":\"content_block_delta\",\"delta\":{\"text\":\"x\"}", {}},
        {"JsonWithATail", "data: {\"choices\":[{\"delta\":{\"content\":\"x\"}}]} tail", {}},
        {"AnArray", "data: [{\"type\":\"content_block_delta\",\"delta\":{\"text\":\"x\"}}]", {}},
        {"AString", "data: \"content_block_delta text\"", {}},
        {"ANumber", "data: 42", {}},
        {"Null", "data: null", {}},
        {"NestedWithoutEnd", deep(5000), {}},
    };
}

class AnthropicLine : public testing::TestWithParam<Line> {};
class OpenAILine : public testing::TestWithParam<Line> {};

} // namespace

TEST_P(AnthropicLine, HoldsThePieceOrNone)
{
    EXPECT_EQ(AnthropicProvider::processLine(GetParam().line), GetParam().piece);
}

TEST_P(OpenAILine, HoldsThePieceOrNone)
{
    EXPECT_EQ(OpenAIProvider::processLine(GetParam().line), GetParam().piece);
}

INSTANTIATE_TEST_SUITE_P(Silent, AnthropicLine, testing::ValuesIn(silentLines()), nameOf);
INSTANTIATE_TEST_SUITE_P(Silent, OpenAILine, testing::ValuesIn(silentLines()), nameOf);

INSTANTIATE_TEST_SUITE_P(
    Delta, AnthropicLine,
    testing::Values(
        Line{"Text",
             R"(data: {"type":"content_block_delta","index":0,"delta":{"type":"text_delta","text":"Hi"}})",
             text("Hi")},
        Line{"EmptyText", R"(data: {"type":"content_block_delta","delta":{"type":"text_delta","text":""}})",
             text("")},
        Line{"TwoBlanks", R"(data:  {"type":"content_block_delta","delta":{"text":"Hi"}})", text("Hi")},
        Line{"BlanksInside", R"(data: { "delta" : { "text" : "Hi" } , "type" : "content_block_delta" } )",
             text("Hi")},
        Line{"WithoutADeltaType", R"(data: {"type":"content_block_delta","delta":{"text":"Hi"}})",
             text("Hi")},
        Line{"EscapedKeys",
             "data: {\"\\u0074ype\":\"content\\u005fblock_delta\",\"\\u0064elta\":{\"te\\u0078t\":\"Hi\"}}",
             text("Hi")},
        Line{"EscapesInTheText",
             R"(data: {"type":"content_block_delta","delta":{"text":"\u00e4\ud83c\udfaf\n\t\"\\\/"}})",
             text("\xC3\xA4\xF0\x9F\x8E\xAF\n\t\"\\/")},
        Line{"PlaceholdersInTheText", R"(data: {"type":"content_block_delta","delta":{"text":"%1 %2 %%"}})",
             text("%1 %2 %%")},
        Line{"Utf8InTheText",
             "data: {\"type\":\"content_block_delta\",\"delta\":{\"text\":\"\xD7\xA9 \xF0\x9F\x8E\xAF\"}}",
             text("\xD7\xA9 \xF0\x9F\x8E\xAF")},
        Line{"NoBlankAfterTheColon", R"(data:{"type":"content_block_delta","delta":{"text":"Hi"}})", {}},
        Line{"BlankBefore", R"( data: {"type":"content_block_delta","delta":{"text":"Hi"}})", {}},
        Line{"UpperCaseField", R"(DATA: {"type":"content_block_delta","delta":{"text":"Hi"}})", {}},
        Line{"Thinking",
             R"(data: {"type":"content_block_delta","delta":{"type":"thinking_delta","thinking":"x"}})",
             {}},
        Line{
            "InputJson",
            R"(data: {"type":"content_block_delta","delta":{"type":"input_json_delta","partial_json":"{}"}})",
            {}},
        Line{"TextThatIsNoString", R"(data: {"type":"content_block_delta","delta":{"text":7}})", {}},
        Line{"TextThatIsNull", R"(data: {"type":"content_block_delta","delta":{"text":null}})", {}},
        Line{"DeltaThatIsNoObject", R"(data: {"type":"content_block_delta","delta":"text"})", {}},
        Line{"NoDelta", R"(data: {"type":"content_block_delta","text":"Hi"})", {}},
        Line{"TypeThatIsNoString", R"(data: {"type":7,"delta":{"text":"content_block_delta"}})", {}},
        Line{"BlockStart",
             R"(data: {"type":"content_block_start","content_block":{"type":"text","text":"Hi"}})",
             {}},
        Line{"MessageDelta",
             R"(data: {"type":"message_delta","delta":{"stop_reason":"content_block_delta","text":"Hi"}})",
             {}},
        Line{"ErrorEvent",
             R"(data: {"type":"error","error":{"type":"overloaded_error","message":"text"}})",
             {}}),
    nameOf);

INSTANTIATE_TEST_SUITE_P(
    Delta, OpenAILine,
    testing::Values(
        Line{"Content", R"(data: {"choices":[{"index":0,"delta":{"content":"Hi"},"finish_reason":null}]})",
             text("Hi")},
        Line{"EmptyContent", R"(data: {"choices":[{"delta":{"content":""}}]})", text("")},
        Line{"RoleAndContent", R"(data: {"choices":[{"delta":{"role":"assistant","content":"Hi"}}]})",
             text("Hi")},
        Line{"TwoBlanks", R"(data:  {"choices":[{"delta":{"content":"Hi"}}]})", text("Hi")},
        Line{"BlanksInside", R"(data: { "choices" : [ { "delta" : { "content" : "Hi" } } ] } )", text("Hi")},
        Line{"EscapedKeys", "data: {\"ch\\u006fices\":[{\"d\\u0065lta\":{\"c\\u006fntent\":\"Hi\"}}]}",
             text("Hi")},
        Line{"OnlyTheFirstChoice",
             R"(data: {"choices":[{"delta":{"content":"one"}},{"delta":{"content":"two"}}]})", text("one")},
        Line{
            "NothingInTheFirstChoice", R"(data: {"choices":[{"delta":{}},{"delta":{"content":"two"}}]})", {}},
        Line{"OneChoiceThatIsNoObject", R"(data: {"choices":[{"delta":{"content":"Hi"}},7]})", {}},
        Line{"OneChoiceThatIsNull", R"(data: {"choices":[null,{"delta":{"content":"Hi"}}]})", {}},
        Line{"NoChoices", R"(data: {"choices":[]})", {}},
        Line{"ChoicesThatAreNoArray", R"(data: {"choices":{"delta":{"content":"Hi"}}})", {}},
        Line{"RoleOnly", R"(data: {"choices":[{"delta":{"role":"assistant"}}]})", {}},
        Line{"ContentNull", R"(data: {"choices":[{"delta":{"content":null}}]})", {}},
        Line{"ContentThatIsNoString", R"(data: {"choices":[{"delta":{"content":["Hi"]}}]})", {}},
        Line{"DeltaThatIsNoObject", R"(data: {"choices":[{"delta":"content"}]})", {}},
        Line{"FinishReason", R"(data: {"choices":[{"delta":{},"finish_reason":"stop"}]})", {}},
        Line{"Usage", R"(data: {"choices":[],"usage":{"total_tokens":3,"content":"x"}})", {}},
        Line{"WholeMessage", R"(data: {"choices":[{"message":{"content":"Hi"}}]})", {}},
        Line{"NoBlankAfterTheColon", R"(data:{"choices":[{"delta":{"content":"Hi"}}]})", {}},
        Line{"ErrorObject", R"(data: {"error":{"message":"content"}})", {}}),
    nameOf);

} // namespace velmo
