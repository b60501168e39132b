#pragma once

#include "support/accessibility/PrivateBuses.h"

#include <QProcess>
#include <QTemporaryDir>
#include <string>

namespace velmo::test {

/// A keyring of a test's own: gnome-keyring, in a home and on a session bus of its own, with somebody who
/// answers its questions.
class PrivateKeyring {
public:
    static inline const QByteArray kPassword = "keyring-password";

    PrivateKeyring();
    PrivateKeyring(const PrivateKeyring&) = delete;
    PrivateKeyring& operator=(const PrivateKeyring&) = delete;
    ~PrivateKeyring();

    /// With its usual collection, unlocked. True when it is on the bus.
    [[nodiscard]] bool startUnlocked();
    /// As it starts where nobody logged in with a password: what there is stays locked.
    [[nodiscard]] bool startWithoutPassword();
    [[nodiscard]] ChildProcess& daemon() { return daemon_; }
    [[nodiscard]] PrivateBuses& buses() { return buses_; }
    [[nodiscard]] std::string busAddress() const { return buses_.sessionAddress().toStdString(); }

    [[nodiscard]] bool lock();

    /// How the next question will be answered.
    void willAnswer(const QByteArray& password) { tellPrompter("password " + password); }
    void willCancel() { tellPrompter("cancel"); }
    /// Between the two, questions wait for their answer.
    void holdAnswers();
    void giveAnswers();
    /// The next answer takes so long that no test sees it.
    void willNeverAnswer();
    /// The question that the answer was prepared for has not been asked.
    [[nodiscard]] bool isUnasked() { return tellPrompter("status").startsWith('1'); }
    /// It has; what is neither is no longer there to be asked.
    [[nodiscard]] bool isAsked() { return tellPrompter("status").startsWith('0'); }

    struct ToolResult {
        int exitCode = -1;
        QByteArray output;
    };
    /// Runs "secret-tool"; the input is what it would ask for.
    ToolResult secretTool(const QStringList& arguments, const QByteArray& input = {}) const;

    /// For programs that are to use this keyring.
    [[nodiscard]] QProcessEnvironment environment() const;

private:
    [[nodiscard]] bool start(const QByteArray& command);
    QByteArray tellPrompter(const QByteArray& command);

    QTemporaryDir home_;
    PrivateBuses buses_;
    QProcess prompter_;
    QByteArray prompterName_;
    ChildProcess daemon_;
};

} // namespace velmo::test
