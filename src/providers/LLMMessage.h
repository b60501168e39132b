#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <optional>

namespace velmo {

/// One entry of the conversation with a model, independent of any vendor. The system prompt is not one. Plain
/// value, any thread.
struct LLMMessage {
    enum class Role { User, Assistant };

    Role role = Role::User;
    QString text; ///< May be empty.
    std::optional<QByteArray>
        imageData; ///< An encoded screenshot. Present but empty still counts as attached.
};

} // namespace velmo
