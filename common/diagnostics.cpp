#include "diagnostics.h"

#include <QLoggingCategory>

bool debugEnabled()
{
    return QLoggingCategory::defaultCategory()->isDebugEnabled();
}

void debugMessage(const QString &text)
{
    const QLoggingCategory &category = *QLoggingCategory::defaultCategory();
    if (category.isDebugEnabled())
        qt_message_output(QtDebugMsg, QMessageLogContext(nullptr, 0, nullptr, category.categoryName()), text);
}
