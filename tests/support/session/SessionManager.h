#pragma once

#include <QByteArray>
#include <memory>

namespace velmo::test {

/// A desktop's session manager, which programs register with and which tells them when the user logs out. It
/// serves one program; it ends with this object. Main thread: what has arrived is read by the questions.
class SessionManager {
public:
    SessionManager();
    SessionManager(const SessionManager&) = delete;
    SessionManager& operator=(const SessionManager&) = delete;
    ~SessionManager();

    /// Where it is, for the environment variable SESSION_MANAGER. Empty: it cannot be had.
    [[nodiscard]] QByteArray address() const;

    /// A program has registered, and has said all that it says about itself at its start.
    [[nodiscard]] bool hasProgram();
    /// The program would be started again when the session is restored.
    [[nodiscard]] bool restartsProgram();

    /// The user logs out: the program is to save what it has, and may ask the user.
    void announceLogOut();
    /// The program has nothing against it.
    [[nodiscard]] bool isReadyForLogOut();
    /// One of the others had.
    void cancelLogOut();
    /// The session is over.
    void endSession();
    /// The program has left the session.
    [[nodiscard]] bool hasLost();

private:
    struct Session;
    std::unique_ptr<Session> session_;
};

} // namespace velmo::test
