#pragma once

#include "core/Result.h"
#include "platform/linux/FileDescriptor.h"

#include <QByteArray>
#include <QString>
#include <string>

namespace velmo {

/// The folder in which the program's sockets and locks are, which nobody but the user may enter. It is looked
/// at once it is open, and used by its descriptor from then on, so that nobody can put another in its place.
class PrivateFolder {
public:
    /// In the session's folder for such things, made if it is not there; where the session has none that is
    /// the user's alone, among temporary files. Else a sentence that says why there is none.
    [[nodiscard]] static Result<PrivateFolder, QString> open(const QByteArray& runtimeFolder,
                                                             const QByteArray& temporaryFolder);

    [[nodiscard]] int descriptor() const { return descriptor_.get(); }
    /// By which this process can name what is in it; short enough for the address of a socket.
    [[nodiscard]] std::string pathOf(const std::string& name) const;

private:
    explicit PrivateFolder(FileDescriptor descriptor)
        : descriptor_(std::move(descriptor))
    {}
    [[nodiscard]] static Result<PrivateFolder, QString> openIn(const QByteArray& parent,
                                                               const QByteArray& name);

    FileDescriptor descriptor_;
};

} // namespace velmo
