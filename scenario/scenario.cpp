#include "scenario.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdlib>

namespace Scenario {

namespace {

QJsonValue jsonOf(const QVariant &value)
{
    // An int64 beyond 2^53 would change on its way through a double.
    if (value.typeId() == QMetaType::LongLong && std::llabs(value.toLongLong()) > (qint64(1) << 53))
        return QString::number(value.toLongLong());
    return QJsonValue::fromVariant(value);
}

} // namespace

QByteArray writeScenario(const File &file)
{
    QJsonObject root{{"formatVersion", kFormatVersion}};
    if (!file.name.isEmpty())
        root.insert("name", file.name);
    QJsonObject target;
    if (file.targetHost)
        target.insert("host", *file.targetHost);
    if (file.targetPort)
        target.insert("port", *file.targetPort);
    if (!target.isEmpty())
        root.insert("target", target);
    QJsonArray steps;
    for (const Step &step : file.steps) {
        QJsonObject object;
        if (step.at)
            object.insert("at", double(*step.at));
        switch (step.kind) {
        case Step::Kind::Send: {
            QJsonArray values;
            for (const QVariant &value : step.values)
                values.append(jsonOf(value));
            QJsonObject send{{"address", step.address}, {"tags", step.tags}, {"values", values}};
            if (step.bundle)
                send.insert("bundle", true);
            object.insert("send", send);
            break;
        }
        case Step::Kind::Wait:
            object.insert("wait", double(step.milliseconds));
            break;
        case Step::Kind::ExpectDevice:
            object.insert("expect", QJsonObject{{"device", QJsonObject{{"universe", step.universe},
                                                                       {"channel", step.channel},
                                                                       {"value", step.value},
                                                                       {"tolerance", step.tolerance}}}});
            object.insert("within", double(step.milliseconds));
            break;
        case Step::Kind::ExpectMonitor: {
            QJsonObject monitor{{"address", step.address}, {"tolerance", step.tolerance}};
            if (step.hasValues)
                monitor.insert("values", QJsonArray::fromVariantList(step.values));
            object.insert("expect", QJsonObject{{"monitor", monitor}});
            object.insert("within", double(step.milliseconds));
            break;
        }
        case Step::Kind::ExpectNone:
            object.insert("expect", QJsonObject{{"none", QJsonObject{{"address", step.address}}}});
            object.insert("within", double(step.milliseconds));
            break;
        }
        steps.append(object);
    }
    // One line per key and per step, so that a recording reads, and diffs, step by step.
    const auto compact = [](const QJsonValue &value) {
        const QByteArray wrapped = QJsonDocument(QJsonArray{value}).toJson(QJsonDocument::Compact);
        return wrapped.mid(1, wrapped.size() - 2);
    };
    QByteArray text = "{\n";
    for (auto it = root.begin(); it != root.end(); ++it)
        text += "    \"" + it.key().toUtf8() + "\": " + compact(it.value()) + ",\n";
    text += "    \"steps\": [";
    for (qsizetype i = 0; i < steps.size(); ++i)
        text += (i == 0 ? "\n        " : ",\n        ") + compact(steps.at(i));
    text += steps.isEmpty() ? "]\n}\n" : "\n    ]\n}\n";
    return text;
}

bool loadScenario(const QString &path, File *out, QString *error)
{
    QFile in(path);
    if (!in.open(QIODevice::ReadOnly)) {
        *error = in.errorString();
        return false;
    }
    return readScenario(in.readAll(), out, error);
}

Listeners listenersFor(const File &file)
{
    Listeners needed;
    for (const Step &step : file.steps) {
        needed.device = needed.device || step.kind == Step::Kind::ExpectDevice;
        needed.monitor = needed.monitor || step.kind == Step::Kind::ExpectMonitor || step.kind == Step::Kind::ExpectNone;
    }
    return needed;
}

QString stepName(int index)
{
    return QStringLiteral("step %1").arg(index + 1);
}

QString describeStep(const Step &step)
{
    QStringList values;
    for (const QVariant &value : step.values)
        values << value.toString();
    const QString valueText = values.isEmpty() ? QString() : QLatin1Char(' ') + values.join(QLatin1Char(' '));
    switch (step.kind) {
    case Step::Kind::Send:
        return QStringLiteral("send %1%2 ,%3%4").arg(step.bundle ? QStringLiteral("[bundle] ") : QString(), step.address,
                                                     step.tags, valueText);
    case Step::Kind::Wait:
        return QStringLiteral("wait %1 ms").arg(step.milliseconds);
    case Step::Kind::ExpectDevice:
        return QStringLiteral("expect device universe %1 channel %2 = %3").arg(step.universe).arg(step.channel).arg(step.value)
                + (step.tolerance > 0 ? QStringLiteral(" \u00b1 %1").arg(step.tolerance) : QString());
    case Step::Kind::ExpectMonitor:
        return QStringLiteral("expect monitor %1%2").arg(step.address, valueText)
                + (step.tolerance > 0 && step.hasValues ? QStringLiteral(" \u00b1 %1").arg(step.tolerance) : QString());
    case Step::Kind::ExpectNone:
        return QStringLiteral("expect none %1 within %2 ms").arg(step.address).arg(step.milliseconds);
    }
    return QString();
}

} // namespace Scenario
