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
