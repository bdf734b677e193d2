#include "learnrule.h"

namespace LearnRule {

QString addressFault(const QString &address)
{
    if (address.isEmpty())
        return QString();
    if (!address.startsWith(u'/'))
        return QStringLiteral("an address starts with '/'");
    for (const QChar c : address) {
        if (c.isSpace())
            return QStringLiteral("no blanks");
        if (QStringView(u"#*,?[]{}").contains(c))
            return QStringLiteral("none of # * , ? [ ] { }");
    }
    return QString();
}

QJsonObject entryFor(const QString &address, const QString &tags, const QVariantList &values, QString *refusal)
{
    QString fault = address.isEmpty() ? QStringLiteral("an address starts with '/'") : addressFault(address);
    QJsonObject entry;
    if (tags == QLatin1String("f") || tags == QLatin1String("d") || tags == QLatin1String("i")
        || tags == QLatin1String("h")) {
        entry = {{"controlType", "fader"}, {"argType", tags == QLatin1String("f") || tags == QLatin1String("d") ? "f" : "i"}};
    } else if (tags == QLatin1String("T") || tags == QLatin1String("F")) {
        entry = {{"controlType", "button"}, {"mode", "toggle"}, {"argType", "T"}};
    } else if (tags == QLatin1String("ff")) {
        entry = {{"controlType", "xy"}};
    } else if (tags == QLatin1String("s")) {
        entry = {{"controlType", "button"}, {"mode", "momentary"}, {"argType", "s"},
                 {"stringValue", values.value(0).toString()}};
    } else if (tags.isEmpty()) {
        entry = {{"controlType", "button"}, {"mode", "momentary"}, {"argType", "none"}};
    } else if (fault.isEmpty()) {
        fault = QStringLiteral("no control sends ,%1").arg(tags);
    }
    if (!fault.isEmpty()) {
        if (refusal)
            *refusal = QStringLiteral("Cannot learn %1: %2").arg(address, fault);
        return QJsonObject();
    }
    entry.insert(QLatin1String("label"), address.mid(address.lastIndexOf(u'/') + 1));
    entry.insert(QLatin1String("oscAddress"), address);
    return entry;
}

} // namespace LearnRule
