#include "diagnostics.h"

#include <QDebug>
#include <QLoggingCategory>

namespace {
void output(QtMsgType type, const QString &text)
{
    const QLoggingCategory &category = *QLoggingCategory::defaultCategory();
    if (category.isEnabled(type))
        qt_message_output(type, QMessageLogContext(nullptr, 0, nullptr, category.categoryName()), text);
}
} // namespace

bool debugEnabled()
{
    return QLoggingCategory::defaultCategory()->isDebugEnabled();
}

void debugMessage(const QString &text)
{
    output(QtDebugMsg, text);
}

void warningMessage(const QString &text)
{
    output(QtWarningMsg, text);
}

QString quotedText(const QString &text)
{
    for (const QChar c : text) {
        if (c.unicode() < 0x20 || c.unicode() > 0x7e || c == u'"' || c == u'\\') {
            // QDebug escapes character by character: only for the texts that need it.
            QString escaped;
            QDebug(&escaped).nospace() << text;
            return escaped;
        }
    }
    QString quoted;
    quoted.reserve(text.size() + 2);
    quoted.append(u'"').append(text).append(u'"');
    return quoted;
}

void appendDecimal(QString &out, qint64 value)
{
    char16_t digits[20];
    int first = 20;
    // Negated as unsigned: the lowest qint64 has no positive counterpart.
    quint64 magnitude = value < 0 ? 0 - quint64(value) : quint64(value);
    do {
        digits[--first] = char16_t(u'0' + magnitude % 10);
        magnitude /= 10;
    } while (magnitude != 0);
    if (value < 0)
        out.append(u'-');
    out.append(reinterpret_cast<const QChar *>(digits + first), 20 - first);
}
