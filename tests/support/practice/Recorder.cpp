#include "support/practice/Recorder.h"

#include "support/practice/ImageMeasure.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringDecoder>
#include <QtDebug>

namespace velmo::practice {

namespace {

QString writtenValue(const QByteArray& name, const QByteArray& value)
{
    const QByteArray lowered = name.toLower();
    const bool isSecret =
        lowered == "x-api-key" || lowered == "authorization" || lowered == "proxy-authorization";
    return isSecret ? QStringLiteral("***") : QString::fromUtf8(value);
}

/// Appends the images below a JSON value in the order of the document (members of objects by name).
void collectImages(const QJsonValue& value, QList<QByteArray>& images)
{
    if (value.isString()) {
        const QString text = value.toString();
        const qsizetype comma = text.indexOf(QLatin1Char(','));
        if (text.startsWith(QLatin1String("data:image/")) &&
            text.left(comma).endsWith(QLatin1String(";base64"))) {
            images.append(QByteArray::fromBase64(text.mid(comma + 1).toLatin1()));
        }
        return;
    }
    for (const QJsonValue element : value.toArray()) {
        collectImages(element, images);
    }
    const QJsonObject object = value.toObject();
    const QString data = object.value(QStringLiteral("data")).toString();
    if (!data.isEmpty() &&
        object.value(QStringLiteral("media_type")).toString().startsWith(QLatin1String("image/"))) {
        images.append(QByteArray::fromBase64(data.toLatin1()));
        return;
    }
    for (const QJsonValue member : object) {
        collectImages(member, images);
    }
}

QString suffixOf(const QByteArray& image)
{
    const QString format = imageFormat(image);
    if (format == QLatin1String("jpeg")) {
        return QStringLiteral("jpg");
    }
    return format.isEmpty() ? QStringLiteral("bin") : format;
}

void insertBody(QJsonObject& document, const QByteArray& body)
{
    const QJsonDocument parsed = QJsonDocument::fromJson(body);
    QStringDecoder decoder(QStringDecoder::Utf8);
    const QString text = decoder(body);
    if (parsed.isObject()) {
        document.insert(QStringLiteral("body"), parsed.object());
    } else if (!decoder.hasError()) {
        document.insert(QStringLiteral("body"), text);
    } else {
        document.insert(QStringLiteral("bodyBase64"), QString::fromLatin1(body.toBase64()));
    }
}

} // namespace

Recorder::Recorder(const QString& directory)
    : directory_(directory)
{}

bool Recorder::prepare() const
{
    return directory_.isEmpty() || QDir().mkpath(directory_);
}

void Recorder::write(const RecordedRequest& request) const
{
    if (directory_.isEmpty()) {
        return;
    }
    QJsonArray headers;
    for (const auto& [name, value] : request.headers) {
        headers.append(QJsonArray{QString::fromUtf8(name), writtenValue(name, value)});
    }
    QJsonObject document{{QStringLiteral("method"), QString::fromUtf8(request.method)},
                         {QStringLiteral("path"), QString::fromUtf8(request.path)},
                         {QStringLiteral("connection"), request.connection},
                         {QStringLiteral("headers"), headers}};
    insertBody(document, request.body);

    const QString number = QStringLiteral("%1").arg(request.order, 3, 10, QLatin1Char('0'));
    QList<QByteArray> images;
    collectImages(document.value(QStringLiteral("body")), images);
    for (qsizetype index = 0; index < images.size(); ++index) {
        writeFile(QStringLiteral("%1-image-%2.%3").arg(number).arg(index + 1).arg(suffixOf(images.at(index))),
                  images.at(index));
    }
    // Last, so that whoever sees this file finds the images complete.
    writeFile(number + QStringLiteral(".json"), QJsonDocument(document).toJson());
}

void Recorder::writeFile(const QString& name, const QByteArray& content) const
{
    QFile file(QDir(directory_).filePath(name));
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size()) {
        qWarning().noquote() << "cannot write" << file.fileName() << file.errorString();
    }
}

} // namespace velmo::practice
