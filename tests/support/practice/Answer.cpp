#include "support/practice/Answer.h"

#include <algorithm>
#include <array>

namespace velmo::practice {

namespace {

QStringList imageLines(int number, const ReceivedImage& image, const RedRule& rule)
{
    const ImageMeasure measure = measureImage(image.bytes, rule);
    const QString declared = QStringLiteral(" (declared %1)").arg(QString::fromLatin1(image.declaredType));
    if (!measure.isReadable()) {
        return {QStringLiteral("- image %1: unreadable, %2 bytes%3")
                    .arg(number)
                    .arg(image.bytes.size())
                    .arg(declared)};
    }
    const bool asDeclared = image.declaredType == "image/" + measure.format.toLatin1();
    return {QStringLiteral("- image %1: %2 %3x%4%5")
                .arg(number)
                .arg(measure.format)
                .arg(measure.size.width())
                .arg(measure.size.height())
                .arg(asDeclared ? QString() : declared),
            QStringLiteral("- ") + redFragment(measure)};
}

} // namespace

QString composeAnswer(const Conversation& conversation, const RedRule& rule)
{
    QStringList lines{QStringLiteral("## Practice answer"), QString(),
                      QString::fromUtf8("I looked at what arrived \xF0\x9F\x8E\xAF this is **turn %1**:")
                          .arg(conversation.userTurns),
                      QString(), QStringLiteral("- model: `%1`").arg(conversation.model)};
    int number = 0;
    for (const ReceivedImage& image : conversation.images) {
        lines.append(imageLines(++number, image, rule));
    }
    if (conversation.images.isEmpty()) {
        lines.append(QStringLiteral("- no image"));
    }
    lines.append(QStringLiteral("- question: ") + conversation.lastQuestion);
    lines.append(QStringLiteral("- system prompt: %1 characters").arg(conversation.systemCharacters));
    return lines.join(QLatin1Char('\n'));
}

QStringList cutIntoPieces(const QString& text)
{
    // Uneven lengths, as real services send them: nothing may depend on pieces being words.
    static constexpr std::array<qsizetype, 5> kLengths{4, 7, 2, 6, 5};
    QStringList pieces;
    qsizetype start = 0;
    for (std::size_t turn = 0; start < text.size(); ++turn) {
        qsizetype end = std::min(start + kLengths[turn % kLengths.size()], text.size());
        if (end < text.size() && text.at(end).isLowSurrogate()) {
            ++end;
        }
        pieces.append(text.mid(start, end - start));
        start = end;
    }
    return pieces;
}

} // namespace velmo::practice
