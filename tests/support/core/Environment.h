#pragma once

#include <QByteArray>
#include <optional>

namespace velmo {

/// An environment variable for the length of a test; what it was before comes back.
class EnvironmentVariable {
public:
    explicit EnvironmentVariable(const char* name, const std::optional<QByteArray>& value = std::nullopt)
        : name_(name)
    {
        if (qEnvironmentVariableIsSet(name))
            before_ = qgetenv(name);
        assign(value);
    }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;
    ~EnvironmentVariable() { assign(before_); }

    void assign(const std::optional<QByteArray>& value) const
    {
        if (value)
            qputenv(name_, *value);
        else
            qunsetenv(name_);
    }

private:
    const char* name_;
    std::optional<QByteArray> before_;
};

/// A test that must not depend on the keys and servers of whoever runs it.
struct CleanProviderEnvironment {
    EnvironmentVariable anthropicKey{"ANTHROPIC_API_KEY"};
    EnvironmentVariable anthropicUrl{"ANTHROPIC_BASE_URL"};
    EnvironmentVariable anthropicModel{"ANTHROPIC_MODEL"};
    EnvironmentVariable openAIKey{"OPENAI_API_KEY"};
    EnvironmentVariable openAIUrl{"OPENAI_BASE_URL"};
    EnvironmentVariable openAIModel{"OPENAI_MODEL"};
    EnvironmentVariable replicateToken{"REPLICATE_API_TOKEN"};
};

} // namespace velmo
