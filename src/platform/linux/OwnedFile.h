#pragma once

#include <QByteArray>
#include <QString>
#include <memory>

namespace velmo {

/// A new file that only the user can read and that is removed with this object, or when the program exits,
/// unless somebody else has put another one in its place. One thread.
class OwnedFile {
public:
    /// Null, with the number of the system's error, if there is something of that name, or the folder does
    /// not allow it.
    [[nodiscard]] static std::unique_ptr<OwnedFile> create(const QString& path, int& error);
    OwnedFile(const OwnedFile&) = delete;
    OwnedFile& operator=(const OwnedFile&) = delete;
    ~OwnedFile();

    /// False after the first failure, for good.
    bool write(const char* data, size_t size);
    /// As lseek(); negative on failure.
    qint64 seek(qint64 offset, int origin);
    /// What is known to be written only now counts, too.
    void close();

    /// The number of the first error; 0 without.
    [[nodiscard]] int error() const { return error_; }
    /// Under its name, so that it could be opened.
    [[nodiscard]] bool isInPlace() const;
    /// Any thread.
    void unlinkIfInPlace() const;

private:
    OwnedFile(QByteArray path, int descriptor);

    const QByteArray path_;
    int descriptor_;
    quint64 device_ = 0;
    quint64 number_ = 0;
    int error_ = 0;
};

} // namespace velmo
