#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace velmo::practice {

/// Paths of PEM files.
struct CertificateFiles {
    QString certificate;
    QString key;
};

/// Makes a new key and a certificate that is signed by itself, for these host names and addresses, in an
/// existing directory. A valid one runs from an hour ago for thirty days; an expired one ended years ago. The
/// certificate may also serve as its own trust anchor. Blocks for some tens of milliseconds; runs the
/// `openssl` program. Returns nothing, with a warning in the log, when that fails. Never used for anything
/// but tests.
[[nodiscard]] std::optional<CertificateFiles>
makeSelfSignedCertificate(const QString& directory, const QStringList& hostNames, bool expired);

} // namespace velmo::practice
