#pragma once

#include "support/x11/Await.h"
#include "support/x11/ChildProcess.h"

#include <QByteArray>
#include <QList>
#include <chrono>
#include <map>

namespace velmo::test {

/// Another application: a window with the fields "one" and "two", which describes itself on the accessibility
/// bus. Real keys go to it as to any.
class FieldsProgram {
public:
    enum class Toolkit { Gtk, Qt };

    /// It is on the screen when this returns.
    FieldsProgram(Toolkit toolkit, const QByteArray& sessionAddress);
    FieldsProgram(const FieldsProgram&) = delete;
    FieldsProgram& operator=(const FieldsProgram&) = delete;
    ~FieldsProgram();

    [[nodiscard]] pid_t processID() const { return process_.processID(); }
    [[nodiscard]] bool isShown();

    /// The program has carried out this order, and all before it, when this returns true; the words are in
    /// its script.
    [[nodiscard]] bool order(const QByteArray& words, std::chrono::milliseconds limit = kPatience);

    /// The field that got the keyboard last.
    [[nodiscard]] QByteArray focused();
    void forgetFocused() { focused_.clear(); }
    [[nodiscard]] QByteArray text(const QByteArray& field);

private:
    void readReports();

    int channel_ = -1;
    ChildProcess process_;
    QByteArray unread_;
    int shown_ = 0;
    int ordered_ = 0;
    int done_ = 0;
    QByteArray focused_;
    std::map<QByteArray, QByteArray> texts_;
};

} // namespace velmo::test
