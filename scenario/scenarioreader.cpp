#include "scenario.h"

#include "oscwire.h"

#include <QHostAddress>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>

#include <cmath>

namespace Scenario {

namespace {

// A number as a reader of the file wrote it: 86400000, not 8.64e+07.
QString numberText(double number)
{
    return number == std::floor(number) && std::abs(number) < 1e15 ? QString::number(qint64(number))
                                                                      : QString::number(number);
}

// Collects the first fault; every check after it is skipped by its caller.
class Reader
{
public:
    explicit Reader(QString *error)
        : m_error(error)
    {
    }

    bool fail(const QString &where, const QString &what)
    {
        if (m_error)
            *m_error = where.isEmpty() ? what : where + QStringLiteral(": ") + what;
        return false;
    }

    bool onlyKeys(const QString &where, const QJsonObject &object, const QSet<QString> &allowed)
    {
        for (auto it = object.begin(); it != object.end(); ++it) {
            if (!allowed.contains(it.key()))
                return fail(where, QStringLiteral("unknown key \"%1\"").arg(it.key()));
        }
        return true;
    }

    bool number(const QString &where, const QJsonObject &object, const QString &key, double min, double max,
                double *out, bool whole = false)
    {
        const QJsonValue value = object.value(key);
        const double number = value.toDouble();
        if (!value.isDouble() || number < min || number > max || (whole && number != std::floor(number))) {
            const QString range = max >= 1e15 ? QStringLiteral("at least %1").arg(numberText(min))
                                              : QStringLiteral("from %1 to %2").arg(numberText(min), numberText(max));
            return fail(where, QStringLiteral("\"%1\" must be %2 %3")
                                       .arg(key, whole ? QStringLiteral("a whole number") : QStringLiteral("a number"),
                                            range));
        }
        *out = number;
        return true;
    }

    bool milliseconds(const QString &where, const QJsonObject &object, const QString &key, qint64 *out)
    {
        const QJsonValue value = object.value(key);
        const double ms = value.toDouble();
        if (!value.isDouble() || ms < 0 || ms > kMaxMilliseconds)
            return fail(where, QStringLiteral("\"%1\" must be a number of milliseconds from 0 to %2 (24 hours)")
                                       .arg(key)
                                       .arg(kMaxMilliseconds));
        *out = qint64(std::llround(ms));
        return true;
    }

    bool text(const QString &where, const QJsonObject &object, const QString &key, QString *out)
    {
        const QJsonValue value = object.value(key);
        if (!value.isString() || value.toString().isEmpty())
            return fail(where, QStringLiteral("\"%1\" must be a text that is not empty").arg(key));
        *out = value.toString();
        return true;
    }

    // An address, or with `pattern` an address pattern: from '/', without blanks or NUL,
    // and an address without the characters that make a pattern.
    bool address(const QString &where, const QJsonObject &object, const QString &key, bool pattern, QString *out)
    {
        if (!text(where, object, key, out))
            return false;
        if (!out->startsWith(u'/'))
            return fail(where, QStringLiteral("\"%1\" must begin with '/'").arg(key));
        for (const QChar c : *out) {
            if (c.isNull())
                return fail(where, QStringLiteral("\"%1\" must not hold U+0000").arg(key));
            if (c.isSpace())
                return fail(where, QStringLiteral("\"%1\" must not hold a blank").arg(key));
            if (!pattern && QStringLiteral("#*,?[]{}").contains(c))
                return fail(where, QStringLiteral("\"%1\" must not hold '%2' (only a pattern may)").arg(key, c));
        }
        return true;
    }

    bool object(const QString &where, const QJsonValue &value, const QString &key, QJsonObject *out)
    {
        if (!value.isObject())
            return fail(where, QStringLiteral("\"%1\" must be an object").arg(key));
        *out = value.toObject();
        return true;
    }

private:
    QString *m_error;
};

// The values a send's tags take, checked one by one: whole numbers for i and h, numbers
// for f and d, texts for s and b; T F N I take none.
bool readSendValues(Reader &reader, const QString &where, const QString &tags, const QJsonArray &values,
                    QVariantList *out)
{
    static const QString valueTags = QStringLiteral("ihfdsb");
    qsizetype wanted = 0;
    for (const QChar tag : tags) {
        if (valueTags.contains(tag))
            ++wanted;
        else if (!QStringLiteral("TFNI").contains(tag))
            return reader.fail(where, QStringLiteral("\"tags\": unknown type tag '%1' (the desk sends i h f d s b T F N I)").arg(tag));
    }
    if (wanted != values.size()) {
        return reader.fail(where, QStringLiteral("\"tags\" and \"values\" do not match: ',%1' takes %2 values, got %3")
                                          .arg(tags)
                                          .arg(wanted)
                                          .arg(values.size()));
    }
    qsizetype next = 0;
    for (const QChar tag : tags) {
        if (!valueTags.contains(tag))
            continue;
        const QJsonValue value = values.at(next);
        const QString item = QStringLiteral("\"values\"[%1]").arg(next);
        ++next;
        if (tag == u's' || tag == u'b') {
            if (!value.isString())
                return reader.fail(where, QStringLiteral("%1 must be a text for '%2'").arg(item, tag));
            // An OSC-string ends at its first NUL; a blob may hold any byte.
            if (tag == u's' && value.toString().contains(QChar::Null))
                return reader.fail(where, QStringLiteral("%1 must not hold U+0000").arg(item));
            out->append(value.toString());
        } else if (tag == u'f' || tag == u'd') {
            if (!value.isDouble())
                return reader.fail(where, QStringLiteral("%1 must be a number for '%2'").arg(item, tag));
            out->append(value.toDouble());
        } else {
            // A whole number; beyond 2^53 an int64 travels as its decimal text.
            bool whole = false;
            qint64 number = 0;
            if (value.isString()) {
                number = value.toString().toLongLong(&whole);
            } else if (value.isDouble()) {
                const double d = value.toDouble();
                whole = d == std::floor(d) && std::abs(d) < 9.2e18;
                number = qint64(d);
            }
            if (!whole || (tag == u'i' && (number < INT32_MIN || number > INT32_MAX)))
                return reader.fail(where, QStringLiteral("%1 must be a whole number for '%2'").arg(item, tag));
            out->append(number);
        }
    }
    return true;
}

bool readSend(Reader &reader, const QString &where, const QJsonObject &send, Step *step)
{
    step->kind = Step::Kind::Send;
    if (!reader.onlyKeys(where, send, {"address", "tags", "values", "bundle"})
        || !reader.address(where, send, "address", false, &step->address))
        return false;
    if (send.contains("tags") && !send.value("tags").isString())
        return reader.fail(where, QStringLiteral("\"tags\" must be a text"));
    if (send.contains("values") && !send.value("values").isArray())
        return reader.fail(where, QStringLiteral("\"values\" must be an array"));
    if (send.contains("bundle") && !send.value("bundle").isBool())
        return reader.fail(where, QStringLiteral("\"bundle\" must be true or false"));
    step->tags = send.value("tags").toString();
    if (step->tags.startsWith(u','))
        step->tags.remove(0, 1);
    step->bundle = send.value("bundle").toBool();
    return readSendValues(reader, where, step->tags, send.value("values").toArray(), &step->values);
}

bool readExpect(Reader &reader, const QString &where, const QJsonObject &expect, Step *step)
{
    if (expect.size() != 1)
        return reader.fail(where, QStringLiteral("\"expect\" holds one of \"device\", \"monitor\" or \"none\""));
    const QString kind = expect.begin().key();
    QJsonObject body;
    if (!reader.object(where, expect.begin().value(), kind, &body))
        return false;
    if (kind == QLatin1String("device")) {
        step->kind = Step::Kind::ExpectDevice;
        double universe = 0, channel = 0, value = 0;
        if (!reader.onlyKeys(where, body, {"universe", "channel", "value", "tolerance"})
            || (body.contains("universe") && !reader.number(where, body, "universe", 0, 1e15, &universe, true)))
            return false;
        if (universe != 0)
            return reader.fail(where, QStringLiteral("\"universe\" must be 0: the emulated device keeps universe 0 only"));
        if (!reader.number(where, body, "channel", 1, Osc::kChannelCount, &channel, true)
            || !reader.number(where, body, "value", 0, 255, &value, true)
            || (body.contains("tolerance") && !reader.number(where, body, "tolerance", 0, 255, &step->tolerance)))
            return false;
        step->universe = int(universe);
        step->channel = int(channel);
        step->value = int(value);
        return true;
    }
    if (kind == QLatin1String("monitor")) {
        step->kind = Step::Kind::ExpectMonitor;
        if (!reader.onlyKeys(where, body, {"address", "values", "tolerance"})
            || !reader.address(where, body, "address", true, &step->address)
            || (body.contains("tolerance") && !reader.number(where, body, "tolerance", 0, 1e15, &step->tolerance)))
            return false;
        if (body.contains("values")) {
            if (!body.value("values").isArray())
                return reader.fail(where, QStringLiteral("\"values\" must be an array"));
            step->hasValues = true;
            step->values = body.value("values").toArray().toVariantList();
            for (qsizetype i = 0; i < step->values.size(); ++i) {
                if (step->values.at(i).toString().contains(QChar::Null))
                    return reader.fail(where, QStringLiteral("\"values\"[%1] must not hold U+0000").arg(i));
            }
        }
        return true;
    }
    if (kind == QLatin1String("none")) {
        step->kind = Step::Kind::ExpectNone;
        return reader.onlyKeys(where, body, {"address"}) && reader.address(where, body, "address", true, &step->address);
    }
    return reader.fail(where, QStringLiteral("unknown expectation \"%1\" (device, monitor or none)").arg(kind));
}

bool readStep(Reader &reader, const QString &where, const QJsonValue &value, Step *step)
{
    if (!value.isObject())
        return reader.fail(where, QStringLiteral("a step must be an object"));
    const QJsonObject object = value.toObject();
    if (!reader.onlyKeys(where, object, {"at", "send", "wait", "expect", "within"}))
        return false;
    const int kinds = int(object.contains("send")) + int(object.contains("wait")) + int(object.contains("expect"));
    if (kinds != 1)
        return reader.fail(where, QStringLiteral("a step is one of \"send\", \"wait\" or \"expect\""));
    if (object.contains("at")) {
        qint64 at = 0;
        if (!reader.milliseconds(where, object, "at", &at))
            return false;
        step->at = at;
    }
    if (object.contains("within") && !object.contains("expect"))
        return reader.fail(where, QStringLiteral("\"within\" goes with \"expect\""));
    if (object.contains("wait")) {
        step->kind = Step::Kind::Wait;
        return reader.milliseconds(where, object, "wait", &step->milliseconds);
    }
    QJsonObject body;
    if (object.contains("send"))
        return reader.object(where, object.value("send"), "send", &body) && readSend(reader, where, body, step);
    step->milliseconds = kDefaultWithinMs;
    if (object.contains("within") && !reader.milliseconds(where, object, "within", &step->milliseconds))
        return false;
    return reader.object(where, object.value("expect"), "expect", &body) && readExpect(reader, where, body, step);
}

} // namespace

bool readScenario(const QByteArray &json, File *out, QString *error)
{
    Reader reader(error);
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        return reader.fail(QString(), QStringLiteral("not JSON: %1 at byte %2")
                                              .arg(parseError.errorString())
                                              .arg(parseError.offset));
    }
    if (!document.isObject())
        return reader.fail(QString(), QStringLiteral("a scenario is a JSON object"));
    const QJsonObject root = document.object();
    if (!reader.onlyKeys(QString(), root, {"formatVersion", "name", "target", "steps"}))
        return false;
    if (root.value("formatVersion") != QJsonValue(kFormatVersion))
        return reader.fail(QString(), QStringLiteral("\"formatVersion\" must be %1").arg(kFormatVersion));
    File file;
    if (root.contains("name") && !reader.text(QString(), root, "name", &file.name))
        return false;
    if (root.contains("target")) {
        QJsonObject target;
        if (!reader.object(QStringLiteral("target"), root.value("target"), "target", &target)
            || !reader.onlyKeys(QStringLiteral("target"), target, {"host", "port"}))
            return false;
        if (target.contains("host")) {
            QString host;
            if (!reader.text(QStringLiteral("target"), target, "host", &host))
                return false;
            // Host names are never looked up: a name would leave nothing.
            if (QHostAddress(host).isNull())
                return reader.fail(QStringLiteral("target"),
                                   QStringLiteral("\"host\" must be a numeric IPv4 or IPv6 address, as 127.0.0.1, "
                                                  "not '%1'").arg(host));
            file.targetHost = host;
        }
        if (target.contains("port")) {
            double port = 0;
            if (!reader.number(QStringLiteral("target"), target, "port", 1, 65535, &port, true))
                return false;
            file.targetPort = int(port);
        }
    }
    if (!root.value("steps").isArray())
        return reader.fail(QString(), QStringLiteral("\"steps\" must be an array"));
    const QJsonArray steps = root.value("steps").toArray();
    for (qsizetype i = 0; i < steps.size(); ++i) {
        Step step;
        if (!readStep(reader, stepName(int(i)), steps.at(i), &step))
            return false;
        file.steps.append(step);
    }
    *out = file;
    return true;
}

} // namespace Scenario
