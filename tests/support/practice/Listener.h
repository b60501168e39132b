#pragma once

#include "support/practice/PracticeServer.h"
#include "support/practice/Recorder.h"
#include "support/practice/ServerState.h"
#include "support/practice/Service.h"

#include <QString>
#include <QTcpServer>

#include <optional>

class QSslConfiguration;

namespace velmo::practice {

/// Either a port, or why there is none.
struct ListenResult {
    quint16 port = 0;
    QString error;
};

/// Accepts connections and owns them. Lives on one thread, whose event loop it needs.
class Listener final : public QTcpServer {
public:
    Listener(const ServerOptions& options, ServerState& state);
    ~Listener() override;

    /// Reads the TLS files, prepares the directory for records, and listens.
    [[nodiscard]] ListenResult start();

protected:
    void incomingConnection(qintptr descriptor) override;

private:
    [[nodiscard]] QString loadTls();

    const ServerOptions options_;
    ServerState& state_;
    Service service_;
    Recorder recorder_;
    std::unique_ptr<QSslConfiguration> tls_; ///< Null without TLS.
};

} // namespace velmo::practice
