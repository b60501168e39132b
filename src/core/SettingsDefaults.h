#pragma once

#include <QString>
#include <array>

/// The texts and numbers that the settings start from.
namespace velmo::SettingsDefaults {

inline const QString kAnthropicModel = QStringLiteral("claude-sonnet-4-6");
inline const QString kOpenAIModel = QStringLiteral("gpt-5.4-mini");
inline const QString kSystemPrompt = QStringLiteral("Shorter answers are generally better than longer.");
inline const QString kReplicateModelVersion =
    QStringLiteral("3ab86df6c8f54c11309d4d1f930ac292bad43ace52d10c80d87eb258b3c9f79c");

inline constexpr qint64 kHotkeyKeyCode = 49;            // Space
inline constexpr qint64 kHotkeyModifiers = 0xC0000;     // Control and Option
inline constexpr qint64 kQuickDrawModifiers = 0x180000; // Command and Option

/// The instruction that every question carries; the user's guidance follows it.
[[nodiscard]] const QString& basePrompt();

/// Defaults of earlier versions: somebody who never edited the prompt gets today's.
[[nodiscard]] const std::array<QString, 3>& earlierSystemPrompts();

} // namespace velmo::SettingsDefaults
