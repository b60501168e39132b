#include "core/SettingsDefaults.h"

namespace velmo::SettingsDefaults {

const QString& basePrompt()
{
    static const QString prompt =
        QStringLiteral("You are given an annotated screenshot of the user's screen. The screenshot contains "
                       "a red marked area, "
                       "that is where you should place your focus on in order to answer the question. You "
                       "must not mention the "
                       "screen capture directly to users. If needed just refer to 'the screen'. That's less "
                       "technical and contains "
                       "enough information. You should almost never have to do it. Focus on answering the "
                       "question asked. All the "
                       "contextual input is provided for you to give a good answer.");
    return prompt;
}

const std::array<QString, 3>& earlierSystemPrompts()
{
    static const std::array<QString, 3> prompts{
        QStringLiteral("You are a helpful visual assistant. The user has annotated a screenshot to highlight "
                       "something specific. Answer concisely and clearly."),
        QStringLiteral("You are given an annotated screenshot of the user's screen. They are asking a "
                       "contextual question.\n\n"
                       "Question: {{input}}\n\n"
                       "Be brief when answering. Do not tell users about the context that was given to you, "
                       "that a spot was "
                       "highlighted. They already know. Just directly answer the question. Shorter answers "
                       "are generally better "
                       "than longer ones."),
        QStringLiteral("You are given an annotated screenshot of the user's screen. They are asking a "
                       "contextual question.\n\n"
                       "There is usually a lot of information on the screen. Do use them to understand the "
                       "context but focus on "
                       "the region highlighted in red, this is what the user has put an emphasis on.\n\n"
                       "The highlight might not fully cover the elements that are relevant to the task. "
                       "Consider it a focal "
                       "point, not an exact mask.\n\n"
                       "Question: {{input}}\n\n"
                       "Be brief when answering. Do not tell users about the context that was given to you, "
                       "that a spot was "
                       "highlighted. They already know. Just directly answer the question. Shorter answers "
                       "are generally better "
                       "than longer ones."),
    };
    return prompts;
}

} // namespace velmo::SettingsDefaults
