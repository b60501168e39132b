#pragma once

#include "providers/AnthropicProvider.h"
#include "providers/OpenAIProvider.h"
#include "support/practice/Dialect.h"

#include <memory>
#include <ostream>

namespace velmo {

/// The two services, for tests that hold for both.
enum class Vendor { Anthropic, OpenAI };

inline void PrintTo(Vendor vendor, std::ostream* out)
{
    *out << (vendor == Vendor::Anthropic ? "Anthropic" : "OpenAI");
}

[[nodiscard]] inline QString categoryOf(Vendor vendor)
{
    return vendor == Vendor::Anthropic ? QStringLiteral("Anthropic") : QStringLiteral("OpenAI");
}

[[nodiscard]] inline const char* baseVariableOf(Vendor vendor)
{
    return vendor == Vendor::Anthropic ? "ANTHROPIC_BASE_URL" : "OPENAI_BASE_URL";
}

[[nodiscard]] inline std::unique_ptr<LLMProvider> makeProvider(Vendor vendor, const QString& key,
                                                               const QString& model)
{
    if (vendor == Vendor::Anthropic)
        return std::make_unique<AnthropicProvider>(key, model);
    return std::make_unique<OpenAIProvider>(key, model);
}

/// How the service itself speaks.
[[nodiscard]] inline std::unique_ptr<practice::Dialect> dialectOf(Vendor vendor)
{
    return vendor == Vendor::Anthropic ? practice::makeMessagesDialect() : practice::makeChatDialect();
}

} // namespace velmo
