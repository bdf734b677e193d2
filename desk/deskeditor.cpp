#include "deskeditor.h"

#include "eventlog.h"
#include "fixtureformat.h"
#include "fixturestore.h"
#include "learnrule.h"
#include "oscdecoder.h"
#include "oscdesk.h"
#include "oscmonitor.h"

#include <QUndoCommand>
#include <QUuid>

namespace {

const QString kChannels = QStringLiteral("channels");
const QString kCapabilities = QStringLiteral("capabilities");
const QString kLearnedStrip = QStringLiteral("Aprendido");
constexpr int kMaxChannels = 512;

const QStringList kStripKeys = {"name", "manufacturer", "model", "deviceType", "universe", "startChannel", "channelCount"};
const QStringList kControlKeys = {"label", "controlType", "mode", "oscAddress", "argType", "stringValue"};

// The desk's header calls the model's field "modelName"; the file calls it "model".
QString fileKey(const QString &key)
{
    return key == QLatin1String("modelName") ? QStringLiteral("model") : key;
}

// A whole number given as a number or as its text.
std::optional<qint64> wholeNumber(const QVariant &value)
{
    bool ok = false;
    if (value.typeId() == QMetaType::QString) {
        const qint64 number = value.toString().trimmed().toLongLong(&ok);
        return ok ? std::optional<qint64>(number) : std::nullopt;
    }
    const double number = value.toDouble(&ok);
    if (!ok || number != double(qint64(number)))
        return std::nullopt;
    return qint64(number);
}

int intOf(const QJsonObject &fixture, const QString &key)
{
    return fixture.value(key).toVariant().toInt();
}

QJsonObject channelsOf(const QJsonObject &fixture)
{
    return fixture.value(kCapabilities).toObject().value(kChannels).toObject();
}

QJsonObject withChannels(QJsonObject fixture, const QJsonObject &channels)
{
    QJsonObject capabilities = fixture.take(kCapabilities).toObject();
    capabilities.insert(kChannels, channels);
    fixture.insert(kCapabilities, capabilities);
    return fixture;
}

QJsonArray slice(const QJsonArray &list, int at, int count)
{
    QJsonArray part;
    for (int i = at; i < at + count; ++i)
        part.append(list.at(i));
    return part;
}

QString controlTypeOf(const QJsonObject &entry)
{
    const QString type = entry.value(QLatin1String("controlType")).toString();
    return type == QLatin1String("button") || type == QLatin1String("xy") ? type : QStringLiteral("fader");
}

} // namespace

// Every edit but a learned control: a run of fixtures replaced by another.
class ReplaceFixtures : public QUndoCommand
{
public:
    ReplaceFixtures(DeskEditor *editor, const QString &text, int at, const QJsonArray &before, const QJsonArray &after)
        : QUndoCommand(text), m_editor(editor), m_at(at), m_before(before), m_after(after)
    {
    }
    void redo() override { m_editor->replace(m_at, int(m_before.size()), m_after); }
    void undo() override { m_editor->replace(m_at, int(m_after.size()), m_before); }

private:
    DeskEditor *m_editor;
    int m_at;
    QJsonArray m_before;
    QJsonArray m_after;
};

// A learned control: a channel added at the end of a strip, or a new strip holding it.
// Only the change is kept, so that a desk of thousands of learned controls keeps a
// history of a few bytes a control.
class LearnControl : public QUndoCommand
{
public:
    LearnControl(DeskEditor *editor, const QString &text, int strip, const QJsonObject &created, const QJsonObject &entry,
                 bool soon)
        : QUndoCommand(text), m_editor(editor), m_strip(strip), m_created(created), m_entry(entry), m_soon(soon)
    {
    }

    void redo() override
    {
        const bool soon = std::exchange(m_soon, false);
        if (!m_created.isEmpty()) {
            m_editor->replace(m_strip, 0, QJsonArray{m_created}, soon);
            return;
        }
        QJsonArray &list = m_editor->changing(m_strip);
        // Taken out of the list, so that changing it copies nothing.
        QJsonObject fixture = list.at(m_strip).toObject();
        list.replace(m_strip, QJsonValue());
        QJsonObject capabilities = fixture.take(kCapabilities).toObject();
        m_hadChannels = capabilities.contains(kChannels);
        QJsonObject channels = capabilities.take(kChannels).toObject();
        m_count = intOf(fixture, QStringLiteral("channelCount"));
        m_key = QString::number(intOf(fixture, QStringLiteral("startChannel")) + m_count);
        m_previous = channels.value(m_key);
        channels.insert(m_key, m_entry);
        capabilities.insert(kChannels, channels);
        fixture.insert(kCapabilities, capabilities);
        fixture.insert(QStringLiteral("channelCount"), m_count + 1);
        list.replace(m_strip, fixture);
        m_editor->publish(soon);
    }

    void undo() override
    {
        if (!m_created.isEmpty()) {
            m_editor->replace(m_strip, 1, QJsonArray());
            return;
        }
        QJsonArray &list = m_editor->changing(m_strip);
        QJsonObject fixture = list.at(m_strip).toObject();
        list.replace(m_strip, QJsonValue());
        QJsonObject capabilities = fixture.take(kCapabilities).toObject();
        QJsonObject channels = capabilities.take(kChannels).toObject();
        if (m_previous.isUndefined())
            channels.remove(m_key);
        else
            channels.insert(m_key, m_previous);
        if (m_hadChannels || !channels.isEmpty())
            capabilities.insert(kChannels, channels);
        fixture.insert(kCapabilities, capabilities);
        fixture.insert(QStringLiteral("channelCount"), m_count);
        list.replace(m_strip, fixture);
        m_editor->publish(false);
    }

private:
    DeskEditor *m_editor;
    int m_strip;
    QJsonObject m_created;
    QJsonObject m_entry;
    bool m_soon;
    bool m_hadChannels = false;
    int m_count = 0;
    QString m_key;
    QJsonValue m_previous;
};

DeskEditor::DeskEditor(FixtureStore *store, OscDesk *desk, EventLog *log, QObject *parent)
    : QObject(parent), m_store(store), m_desk(desk), m_log(log)
{
    m_publish.setSingleShot(true);
    m_publish.setInterval(250);
    connect(&m_publish, &QTimer::timeout, this, [this] { publish(false); });
    connect(store, &FixtureStore::fixturesChanged, this, &DeskEditor::onListLoaded);
    connect(store, &FixtureStore::saved, this, [this] { m_stack.setClean(); });
    connect(&m_stack, &QUndoStack::cleanChanged, this, &DeskEditor::modifiedChanged);
}

DeskEditor::~DeskEditor() = default;

void DeskEditor::setEditing(bool on)
{
    if (on == m_editing)
        return;
    m_editing = on;
    emit editingChanged();
}

void DeskEditor::setLearning(bool on)
{
    if (on == m_learning)
        return;
    m_learning = on;
    m_heard.clear();
    if (on) {
        // An address already on the desk is not learned again.
        for (const QJsonValue &fixture : std::as_const(list())) {
            const QJsonObject channels = channelsOf(fixture.toObject());
            for (const QJsonValue &entry : channels)
                m_heard.insert(entry.toObject().value(QLatin1String("oscAddress")).toString());
        }
    }
    emit learningChanged();
}

void DeskEditor::setSelectedStrip(int strip)
{
    if (strip < -1 || strip >= int(list().size()))
        strip = -1;
    if (strip == m_selectedStrip)
        return;
    m_selectedStrip = strip;
    m_selectedChannel = -1;
    emit selectionChanged();
}

void DeskEditor::setSelectedChannel(int offset)
{
    if (offset == m_selectedChannel)
        return;
    m_selectedChannel = offset;
    emit selectionChanged();
}

void DeskEditor::follow(OscMonitor *monitor)
{
    m_monitor = monitor;
    connect(monitor, &OscMonitor::messageHeard, this, &DeskEditor::onMessageHeard);
}

QJsonArray &DeskEditor::list()
{
    if (!m_listValid) {
        m_list = m_store->fixtureArray();
        m_listValid = true;
    }
    return m_list;
}

QJsonArray DeskEditor::fixtures()
{
    return list();
}

QJsonArray &DeskEditor::changing(int from)
{
    m_changedFrom = qMin(m_changedFrom, from);
    return list();
}

void DeskEditor::replace(int at, int count, const QJsonArray &with, bool soon)
{
    QJsonArray &fixtures = changing(at);
    for (int i = 0; i < count; ++i)
        fixtures.removeAt(at);
    for (int i = 0; i < int(with.size()); ++i)
        fixtures.insert(at + i, with.at(i));
    publish(soon);
}

void DeskEditor::publish(bool soon)
{
    if (soon) {
        if (!m_publish.isActive())
            m_publish.start();
        return;
    }
    m_publish.stop();
    m_store->replaceFixtures(m_list, std::exchange(m_changedFrom, std::numeric_limits<int>::max()));
    keepSelectionInRange();
}

void DeskEditor::flush()
{
    if (m_publish.isActive())
        publish(false);
}

void DeskEditor::keepSelectionInRange()
{
    if (m_selectedStrip >= int(m_list.size()))
        setSelectedStrip(-1);
    else if (m_selectedStrip >= 0 && m_selectedChannel >= intOf(m_list.at(m_selectedStrip).toObject(), "channelCount"))
        setSelectedChannel(-1);
}

void DeskEditor::onListLoaded()
{
    m_publish.stop();
    m_changedFrom = std::numeric_limits<int>::max();
    m_listValid = false;
    m_list = QJsonArray();
    m_stack.clear();
    m_selectedStrip = -1;
    m_selectedChannel = -1;
    emit selectionChanged();
    if (m_learning) {
        setLearning(false);
        setLearning(true);
    }
}

bool DeskEditor::refuse(const QString &reason)
{
    m_log->add(reason, QtWarningMsg);
    return false;
}

bool DeskEditor::validStrip(int strip, const QString &what)
{
    if (strip >= 0 && strip < int(list().size()))
        return true;
    return refuse(QStringLiteral("Cannot %1: there is no fixture %2").arg(what).arg(strip));
}

bool DeskEditor::push(const QString &text, int at, int count, const QJsonArray &with)
{
    m_stack.push(new ReplaceFixtures(this, text, at, slice(list(), at, count), with));
    return true;
}

int DeskEditor::firstFreeChannel(int universe)
{
    int free = 1;
    for (const QJsonValue &value : std::as_const(list())) {
        const QJsonObject fixture = value.toObject();
        if (intOf(fixture, "universe") == universe)
            free = qMax(free, intOf(fixture, "startChannel") + intOf(fixture, "channelCount"));
    }
    return qMin(free, kMaxChannels);
}

QVariantMap DeskEditor::stripFields(int strip)
{
    if (strip < 0 || strip >= int(list().size()))
        return {};
    const QJsonObject fixture = list().at(strip).toObject();
    QVariantMap fields;
    for (const QString &key : kStripKeys)
        fields.insert(key, fixture.value(key).toVariant());
    fields.insert(QStringLiteral("modelName"), fields.value(QStringLiteral("model")));
    return fields;
}

QVariantMap DeskEditor::controlFields(int strip, int offset)
{
    if (strip < 0 || strip >= int(list().size()))
        return {};
    const QJsonObject fixture = list().at(strip).toObject();
    if (offset < 0 || offset >= intOf(fixture, "channelCount"))
        return {};
    const QJsonObject entry = channelsOf(fixture).value(QString::number(intOf(fixture, "startChannel") + offset)).toObject();
    QVariantMap fields;
    for (const QString &key : kControlKeys)
        fields.insert(key, entry.value(key).toVariant().toString());
    fields.insert(QStringLiteral("controlType"), controlTypeOf(entry));
    const QString mode = entry.value(QLatin1String("mode")).toString();
    fields.insert(QStringLiteral("mode"), mode.isEmpty() ? QStringLiteral("toggle") : mode);
    return fields;
}

QString DeskEditor::checkStripField(const QString &key, const QVariant &value) const
{
    const QString file = fileKey(key);
    if (!kStripKeys.contains(file))
        return QStringLiteral("no such field");
    if (file == QLatin1String("universe")) {
        const auto number = wholeNumber(value);
        return number && *number >= 0 && *number <= std::numeric_limits<int>::max()
                ? QString() : QStringLiteral("a whole number of at least 0");
    }
    if (file == QLatin1String("startChannel") || file == QLatin1String("channelCount")) {
        const auto number = wholeNumber(value);
        return number && *number >= 1 && *number <= kMaxChannels ? QString()
                                                                  : QStringLiteral("a whole number from 1 to 512");
    }
    return value.canConvert<QString>() ? QString() : QStringLiteral("a text");
}

QStringList DeskEditor::argTypesFor(const QString &controlType) const
{
    if (controlType == QLatin1String("button"))
        return {"", "T", "none", "I", "s"};
    if (controlType == QLatin1String("xy"))
        return {""};
    return {"", "f", "d", "i", "h"};
}

QString DeskEditor::checkControlField(const QString &key, const QVariant &value, const QString &controlType) const
{
    const QString text = value.toString();
    if (!kControlKeys.contains(key))
        return QStringLiteral("no such field");
    if (key == QLatin1String("controlType"))
        return QStringList{"fader", "button", "xy"}.contains(text) ? QString() : QStringLiteral("fader, button or xy");
    if (key == QLatin1String("mode"))
        return text == QLatin1String("toggle") || text == QLatin1String("momentary")
                ? QString() : QStringLiteral("toggle or momentary");
    if (key == QLatin1String("oscAddress"))
        return LearnRule::addressFault(text);
    if (key == QLatin1String("argType")) {
        const QStringList types = argTypesFor(controlType);
        if (types.contains(text))
            return QString();
        QStringList named;
        for (const QString &type : types)
            named << (type.isEmpty() ? QStringLiteral("empty") : type);
        return QStringLiteral("one of %1").arg(named.join(QStringLiteral(", ")));
    }
    return value.canConvert<QString>() ? QString() : QStringLiteral("a text");
}

bool DeskEditor::setStripField(int strip, const QString &key, const QVariant &value)
{
    const QString file = fileKey(key);
    if (!validStrip(strip, QStringLiteral("set %1").arg(key)))
        return false;
    const QString fault = checkStripField(key, value);
    if (!fault.isEmpty())
        return refuse(QStringLiteral("Cannot set %1 to '%2': %3").arg(key, value.toString(), fault));
    QJsonObject fixture = list().at(strip).toObject();
    const QJsonValue next = file == QLatin1String("universe") || file == QLatin1String("startChannel")
                    || file == QLatin1String("channelCount")
            ? QJsonValue(int(*wholeNumber(value)))
            : QJsonValue(value.toString());
    if (fixture.value(file) == next)
        return true;
    if (file == QLatin1String("startChannel")) {
        // The controls go with the channels: the entries of the fixture's channels move.
        const int from = intOf(fixture, "startChannel");
        const int to = next.toInt();
        const int count = intOf(fixture, "channelCount");
        const QJsonObject before = channelsOf(fixture);
        QJsonObject channels = before;
        for (int i = 0; i < count; ++i)
            channels.remove(QString::number(from + i));
        for (int i = 0; i < count; ++i) {
            const QJsonValue entry = before.value(QString::number(from + i));
            if (!entry.isUndefined())
                channels.insert(QString::number(to + i), entry);
        }
        fixture = withChannels(fixture, channels);
    }
    fixture.insert(file, next);
    return push(QStringLiteral("Cambiar %1").arg(file), strip, 1, QJsonArray{fixture});
}

bool DeskEditor::setControlField(int strip, int offset, const QString &key, const QVariant &value)
{
    if (!validStrip(strip, QStringLiteral("set %1").arg(key)))
        return false;
    QJsonObject fixture = list().at(strip).toObject();
    if (offset < 0 || offset >= intOf(fixture, "channelCount"))
        return refuse(QStringLiteral("Cannot set %1: fixture %2 has no channel %3").arg(key).arg(strip).arg(offset));
    const QString channel = QString::number(intOf(fixture, "startChannel") + offset);
    QJsonObject channels = channelsOf(fixture);
    QJsonObject entry = channels.value(channel).toObject();
    const QString type = key == QLatin1String("controlType") ? value.toString() : controlTypeOf(entry);
    const QString fault = checkControlField(key, value, type);
    if (!fault.isEmpty())
        return refuse(QStringLiteral("Cannot set %1 to '%2': %3").arg(key, value.toString(), fault));
    if (entry.value(key) == QJsonValue(value.toString()))
        return true;
    entry.insert(key, value.toString());
    // An argument type the new kind of control does not send goes.
    if (key == QLatin1String("controlType") && !argTypesFor(type).contains(entry.value("argType").toString()))
        entry.remove(QStringLiteral("argType"));
    channels.insert(channel, entry);
    return push(QStringLiteral("Cambiar %1").arg(key), strip, 1, QJsonArray{withChannels(fixture, channels)});
}

int DeskEditor::addStrip()
{
    const int at = int(list().size());
    QJsonObject fixture = FixtureFormat::normalizeFixture({{"startChannel", firstFreeChannel(0)}});
    push(QStringLiteral("Añadir fixture"), at, 0, QJsonArray{fixture});
    setSelectedStrip(at);
    return at;
}

bool DeskEditor::removeStrip(int strip)
{
    if (!validStrip(strip, QStringLiteral("remove a fixture")))
        return false;
    push(QStringLiteral("Quitar fixture"), strip, 1, QJsonArray());
    return true;
}

int DeskEditor::duplicateStrip(int strip, const QString &find, const QString &replace)
{
    if (!validStrip(strip, QStringLiteral("duplicate a fixture")))
        return -1;
    QJsonObject copy = list().at(strip).toObject();
    QJsonObject channels = channelsOf(copy);
    if (!find.isEmpty()) {
        for (auto it = channels.begin(); it != channels.end(); ++it) {
            QJsonObject entry = it.value().toObject();
            const QJsonValue address = entry.value(QLatin1String("oscAddress"));
            if (!address.isString())
                continue;
            const QString changed = address.toString().replace(find, replace);
            const QString fault = LearnRule::addressFault(changed);
            if (!fault.isEmpty()) {
                refuse(QStringLiteral("Cannot duplicate the fixture: %1 would become '%2': %3")
                               .arg(address.toString(), changed, fault));
                return -1;
            }
            entry.insert(QStringLiteral("oscAddress"), changed);
            it.value() = entry;
        }
        copy = withChannels(copy, channels);
    }
    copy.insert(QStringLiteral("id"), QUuid::createUuid().toString(QUuid::WithoutBraces));
    copy.insert(QStringLiteral("startChannel"), firstFreeChannel(intOf(copy, "universe")));
    if (copy.value("startChannel") != list().at(strip).toObject().value("startChannel")) {
        const QJsonObject original = channelsOf(copy);
        QJsonObject moved;
        const int from = intOf(list().at(strip).toObject(), "startChannel");
        const int to = intOf(copy, "startChannel");
        for (int i = 0; i < intOf(copy, "channelCount"); ++i) {
            const QJsonValue entry = original.value(QString::number(from + i));
            if (!entry.isUndefined())
                moved.insert(QString::number(to + i), entry);
        }
        copy = withChannels(copy, moved);
    }
    push(QStringLiteral("Duplicar fixture"), strip + 1, 0, QJsonArray{copy});
    setSelectedStrip(strip + 1);
    return strip + 1;
}

bool DeskEditor::moveStrip(int strip, int delta)
{
    if (!validStrip(strip, QStringLiteral("move a fixture")))
        return false;
    const int to = strip + delta;
    if (delta == 0 || to < 0 || to >= int(list().size()))
        return refuse(QStringLiteral("Cannot move fixture %1 by %2: the desk has %3 fixtures")
                              .arg(strip).arg(delta).arg(list().size()));
    const int first = qMin(strip, to);
    const int count = qAbs(delta) + 1;
    QJsonArray moved = slice(list(), first, count);
    const QJsonValue fixture = list().at(strip);
    moved.removeAt(strip - first);
    moved.insert(to - first, fixture);
    push(QStringLiteral("Mover fixture"), first, count, moved);
    setSelectedStrip(to);
    return true;
}

bool DeskEditor::addChannel(int strip)
{
    if (!validStrip(strip, QStringLiteral("add a channel")))
        return false;
    QJsonObject fixture = list().at(strip).toObject();
    const int count = intOf(fixture, "channelCount");
    if (count >= kMaxChannels)
        return refuse(QStringLiteral("Cannot add a channel: fixture %1 has 512 channels").arg(strip));
    fixture.insert(QStringLiteral("channelCount"), count + 1);
    return push(QStringLiteral("Añadir canal"), strip, 1, QJsonArray{fixture});
}

bool DeskEditor::removeChannel(int strip, int offset)
{
    if (!validStrip(strip, QStringLiteral("remove a channel")))
        return false;
    QJsonObject fixture = list().at(strip).toObject();
    const int count = intOf(fixture, "channelCount");
    if (offset < 0 || offset >= count)
        return refuse(QStringLiteral("Cannot remove a channel: fixture %1 has no channel %2").arg(strip).arg(offset));
    if (count == 1)
        return refuse(QStringLiteral("Cannot remove a channel: fixture %1 keeps at least one").arg(strip));
    // The channels after it move down one, with their entries.
    const int start = intOf(fixture, "startChannel");
    QJsonObject channels = channelsOf(fixture);
    for (int i = offset; i < count; ++i) {
        const QJsonValue next = i + 1 < count ? channels.value(QString::number(start + i + 1)) : QJsonValue::Undefined;
        if (next.isUndefined())
            channels.remove(QString::number(start + i));
        else
            channels.insert(QString::number(start + i), next);
    }
    fixture = withChannels(fixture, channels);
    fixture.insert(QStringLiteral("channelCount"), count - 1);
    return push(QStringLiteral("Quitar canal"), strip, 1, QJsonArray{fixture});
}

void DeskEditor::undo()
{
    m_stack.undo();
}

void DeskEditor::redo()
{
    m_stack.redo();
}

bool DeskEditor::learn(const QString &address, const QString &tags, const QVariantList &values)
{
    QString refusal;
    const QJsonObject entry = LearnRule::entryFor(address, tags, values, &refusal);
    if (entry.isEmpty())
        return refuse(refusal);
    return learnEntry(address, entry, false);
}

bool DeskEditor::learnEntry(const QString &address, const QJsonObject &entry, bool soon)
{
    const QString text = QStringLiteral("Aprender %1").arg(address);
    QJsonArray &fixtures = list();
    int strip = m_selectedStrip;
    if (strip < 0) {
        // The last strip of learned controls with room left, or a new one.
        for (int i = int(fixtures.size()) - 1; i >= 0 && strip < 0; --i) {
            const QJsonObject fixture = fixtures.at(i).toObject();
            if (fixture.value(QLatin1String("name")) == kLearnedStrip && intOf(fixture, "channelCount") < kMaxChannels)
                strip = i;
        }
    }
    if (strip < 0) {
        const int start = firstFreeChannel(0);
        const QJsonObject created = FixtureFormat::normalizeFixture(
                {{"name", kLearnedStrip},
                 {"startChannel", start},
                 {"channelCount", 1},
                 {kCapabilities, QJsonObject{{kChannels, QJsonObject{{QString::number(start), entry}}}}}});
        m_stack.push(new LearnControl(this, text, int(fixtures.size()), created, entry, soon));
        return true;
    }
    if (intOf(fixtures.at(strip).toObject(), "channelCount") >= kMaxChannels)
        return refuse(QStringLiteral("Cannot learn %1: fixture %2 has 512 channels").arg(address).arg(strip));
    m_stack.push(new LearnControl(this, text, strip, QJsonObject(), entry, soon));
    return true;
}

bool DeskEditor::learnMonitorRow(int row)
{
    if (!m_monitor)
        return refuse(QStringLiteral("Cannot learn: no monitor"));
    const QVariantMap message = m_monitor->message(row);
    if (message.isEmpty())
        return refuse(QStringLiteral("Cannot learn row %1: it holds no OSC message").arg(row));
    return learn(message.value("address").toString(), message.value("tags").toString(),
                 message.value("values").toList());
}

void DeskEditor::onMessageHeard(const Osc::OscPacket &packet, const Osc::OscDecodedMessage &message)
{
    if (!m_learning)
        return;
    const QString address = packet.address(message);
    if (m_heard.contains(address))
        return;
    m_heard.insert(address);
    QVariantList values;
    for (int i = 0; i < message.argumentCount; ++i)
        values.append(packet.value(packet.argument(message, i)));
    QString refusal;
    const QJsonObject entry = LearnRule::entryFor(address, QString(packet.typeTags(message)), values, &refusal);
    if (entry.isEmpty())
        refuse(refusal);
    else
        learnEntry(address, entry, true);
}

bool DeskEditor::save()
{
    flush();
    bool saved = false;
    const auto connection = connect(m_store, &FixtureStore::saved, this, [&saved] { saved = true; });
    m_store->save(QString());
    disconnect(connection);
    return saved;
}

void DeskEditor::discard()
{
    m_stack.setIndex(qMax(0, m_stack.cleanIndex()));
    m_stack.setClean();
}
