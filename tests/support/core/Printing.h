#pragma once

#include <QByteArray>
#include <QJsonValue>
#include <QString>
#include <QVariant>
#include <ostream>

// How the test framework shows the toolkit's types when an expectation fails. They are found by their
// argument's namespace, which is the global one.

inline void PrintTo(const QString& text, std::ostream* out)
{
    *out << '"' << text.toStdString() << '"';
}

inline void PrintTo(const QByteArray& bytes, std::ostream* out)
{
    *out << '"' << bytes.toStdString() << '"';
}

inline void PrintTo(const QJsonValue& value, std::ostream* out)
{
    *out << value.toVariant().toString().toStdString() << " (type " << value.type() << ')';
}
