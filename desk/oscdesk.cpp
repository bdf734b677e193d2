#include "oscdesk.h"

#include "deskcontrol.h"
#include "deskstrips.h"
#include "fixturestore.h"
#include "oscemulatorbackend.h"
#include "oscmonitor.h"

#include <QJsonObject>

#include <cmath>

#ifdef __GLIBC__
#include <malloc.h>
#endif

namespace {

const QString kChannelAddress = QStringLiteral("/osc/channel");

quint64 channelKey(int universe, int channel)
{
    return (quint64(quint32(universe)) << 32) | quint32(channel);
}

// A key present with null reads as 0 or empty text; the fallback is for a missing key.
int wholeNumber(const QJsonObject &fixture, const QString &key, int fallback)
{
    const auto it = fixture.constFind(key);
    return it == fixture.constEnd() ? fallback : it->toVariant().toInt();
}

QString textOf(const QJsonObject &fixture, const QString &key, const QString &fallback)
{
    const auto it = fixture.constFind(key);
    return it == fixture.constEnd() ? fallback : it->toVariant().toString();
}

// An entry's value counts when present and neither null nor empty text.
bool isGiven(const QJsonValue &value)
{
    return !value.isUndefined() && !value.isNull() && !(value.isString() && value.toString().isEmpty());
}

// Texts go into one pool; the few that repeat (argument types, modes, a button's text)
// are kept once.
class TextPool
{
public:
    TextPool() = default;
    // Goes on from the start of a pool.
    explicit TextPool(QString start) : m_pool(std::move(start)) {}

    OscDesk::Text add(const QString &text)
    {
        const OscDesk::Text added{quint32(m_pool.size()), quint32(text.size())};
        m_pool += text;
        return added;
    }

    OscDesk::Text shared(const QString &text)
    {
        const auto it = m_shared.constFind(text);
        if (it != m_shared.constEnd())
            return *it;
        return *m_shared.insert(text, add(text));
    }

    QStringView view(OscDesk::Text text) const { return QStringView(m_pool).mid(text.at, text.size); }
    quint32 size() const { return quint32(m_pool.size()); }

    QString take()
    {
        m_pool.squeeze();
        return std::move(m_pool);
    }

private:
    QString m_pool;
    QHash<QString, OscDesk::Text> m_shared;
};

OscDesk::Control controlFor(const QJsonObject &entry, int position, bool rgb, TextPool &texts)
{
    OscDesk::Control control;
    const QString type = entry.value(QLatin1String("controlType")).toString();
    control.kind = type == QLatin1String("button") ? OscDesk::Kind::Button
                 : type == QLatin1String("xy")     ? OscDesk::Kind::XYPad
                                                   : OscDesk::Kind::Fader;
    const QJsonValue label = entry.value(QLatin1String("label"));
    if (isGiven(label))
        control.label = texts.add(label.toVariant().toString());
    else if (rgb && position < 3)
        control.label = texts.shared(QString(QLatin1Char("RGB"[position])));
    const QJsonValue address = entry.value(QLatin1String("oscAddress"));
    if (isGiven(address))
        control.oscAddress = texts.add(address.toVariant().toString());
    const QJsonValue argType = entry.value(QLatin1String("argType"));
    if (control.kind != OscDesk::Kind::XYPad && isGiven(argType))
        control.argType = texts.shared(argType.toVariant().toString());
    if (control.kind == OscDesk::Kind::Button) {
        const QJsonValue modeValue = entry.value(QLatin1String("mode"));
        const QString mode = isGiven(modeValue) ? modeValue.toVariant().toString() : QStringLiteral("toggle");
        control.mode = texts.shared(mode);
        control.toggle = mode == QLatin1String("toggle");
        const QJsonValue stringValue = entry.value(QLatin1String("stringValue"));
        if (isGiven(stringValue))
            control.stringValue = texts.shared(stringValue.toVariant().toString());
    }
    return control;
}

enum class Moved { Nothing, Value, Checked, Point };

bool isNumberTag(QChar tag)
{
    return tag == QLatin1Char('i') || tag == QLatin1Char('h') || tag == QLatin1Char('f') || tag == QLatin1Char('d');
}

bool isFloatTag(QChar tag)
{
    return tag == QLatin1Char('f') || tag == QLatin1Char('d');
}

// What one message does to one control. A fader reads a float as 0.0-1.0 of its range
// and an int as 0-127, whatever its own argument type; on /osc/channel the third
// argument is that int.
Moved moveByFeedback(OscDesk::Control &control, QStringView stringValue, const QString &tags,
                     const QVariantList &values)
{
    if (tags.isEmpty() || control.held)
        return Moved::Nothing;
    const bool generic = control.oscAddress.size == 0;
    const QChar tag = generic ? QLatin1Char('i') : tags.at(0);
    const QVariant first = generic ? values.value(2) : values.value(0);
    if (generic && tags != QLatin1String("iii"))
        return Moved::Nothing;
    switch (control.kind) {
    case OscDesk::Kind::Fader: {
        if (!isNumberTag(tag))
            return Moved::Nothing;
        const double number = first.toDouble();
        if (std::isnan(number))
            return Moved::Nothing;
        control.value = qBound(0.0, isFloatTag(tag) ? number * 255 : number * 255 / 127, 255.0);
        return Moved::Value;
    }
    case OscDesk::Kind::Button:
        if (!control.toggle)
            return Moved::Nothing;
        if (tag == QLatin1Char('T') || tag == QLatin1Char('F'))
            control.checked = tag == QLatin1Char('T');
        else if (tag == QLatin1Char('s') || tag == QLatin1Char('S'))
            control.checked = first.toString() == stringValue;
        else if (isNumberTag(tag))
            control.checked = first.toDouble() != 0;
        else
            return Moved::Nothing;
        return Moved::Checked;
    case OscDesk::Kind::XYPad: {
        if (tags.size() < 2 || !isFloatTag(tags.at(0)) || !isFloatTag(tags.at(1)))
            return Moved::Nothing;
        const double x = values.value(0).toDouble();
        const double y = values.value(1).toDouble();
        if (std::isnan(x) || std::isnan(y))
            return Moved::Nothing;
        control.x = qBound(0.0, x, 1.0);
        control.y = qBound(0.0, y, 1.0);
        return Moved::Point;
    }
    }
    return Moved::Nothing;
}

} // namespace

OscDesk::OscDesk(QObject *parent) : QObject(parent), m_strips(new DeskStrips(this))
{
}

OscDesk::~OscDesk() = default;

QObject *OscDesk::strips()
{
    return m_strips;
}

void OscDesk::follow(OscEmulatorBackend *store, OscMonitor *monitor)
{
    connect(store, &OscEmulatorBackend::fixturesChanged, this, [this, store] { setFixtures(store->fixtureArray()); });
    connect(store->fixtureStore(), &FixtureStore::fixturesEdited, this,
            [this, store](int unchanged) { setFixtures(store->fixtureArray(), true, unchanged); });
    connect(monitor, &OscMonitor::feedback, this, &OscDesk::applyFeedback);
    setFixtures(store->fixtureArray());
}

void OscDesk::setFixtures(QJsonArray fixtures, bool keepState, int unchanged)
{
    // An edit keeps the strips before the first changed fixture, their controls and their
    // texts (a strip's texts are those of the pool from its textsFrom on), and builds the
    // rest after them: learning, which adds to the last strip, builds only that one. The
    // view keeps what it shows of them where it can, and builds new strips between frames.
    const int kept = keepState ? qBound(0, unchanged, qMin(stripCount(), int(fixtures.size()))) : 0;
    const int keptControls = kept < stripCount() ? m_stripList[size_t(kept)].firstControl : controlCount();

    // Where each control stood, by fixture id, channel, kind and address.
    const auto placeOf = [](QStringView id, const Control &control, QStringView address) {
        return id.toString() + QLatin1Char('\n') + QString::number(control.channel) + QLatin1Char('\n')
                + QString::number(int(control.kind)) + QLatin1Char('\n') + address.toString();
    };
    QHash<QString, int> previous;
    if (keepState) {
        previous.reserve(qsizetype(m_controls.size()) - keptControls);
        for (int i = keptControls; i < int(m_controls.size()); ++i) {
            const Control &control = m_controls[size_t(i)];
            previous.insert(placeOf(view(m_stripList[size_t(control.strip)].id), control, view(control.oscAddress)), i);
        }
    }

    std::vector<Strip> strips;
    std::vector<Control> controls;
    const qsizetype keptTexts = kept < stripCount() ? m_stripList[size_t(kept)].textsFrom : m_texts.size();
    TextPool texts(kept > 0 ? m_texts.left(keptTexts) : QString());
    strips.reserve(size_t(fixtures.size() - kept));
    // The store bounds the count to 1..512; a list from elsewhere may not be bounded.
    const auto countOf = [](const QJsonObject &fixture) {
        return qBound(0, wholeNumber(fixture, QStringLiteral("channelCount"), 1), 512);
    };
    size_t total = 0;
    for (int f = kept; f < int(fixtures.size()); ++f)
        total += size_t(countOf(fixtures.at(f).toObject()));
    controls.reserve(total);

    for (int f = kept; f < int(fixtures.size()); ++f) {
        const QJsonObject fixture = fixtures.at(f).toObject();
        Strip strip;
        strip.textsFrom = texts.size();
        const QString deviceType = textOf(fixture, QStringLiteral("deviceType"), QStringLiteral("Generic"));
        strip.id = texts.add(fixture.value(QLatin1String("id")).toVariant().toString());
        strip.name = texts.add(textOf(fixture, QStringLiteral("name"), QStringLiteral("Fixture")));
        strip.manufacturer = texts.shared(textOf(fixture, QStringLiteral("manufacturer"), QString()));
        strip.modelName = texts.shared(textOf(fixture, QStringLiteral("model"), QString()));
        strip.deviceType = texts.shared(deviceType);
        strip.universe = wholeNumber(fixture, QStringLiteral("universe"), 0);
        strip.startChannel = wholeNumber(fixture, QStringLiteral("startChannel"), 1);
        strip.channelCount = countOf(fixture);
        strip.firstControl = keptControls + int(controls.size());
        const QJsonObject channels =
                fixture.value(QLatin1String("capabilities")).toObject().value(QLatin1String("channels")).toObject();
        const bool rgb = deviceType.contains(QLatin1String("rgb"), Qt::CaseInsensitive);
        for (int i = 0; i < strip.channelCount; ++i) {
            const int channel = strip.startChannel + i;
            Control control = controlFor(channels.value(QString::number(channel)).toObject(), i, rgb, texts);
            control.universe = strip.universe;
            control.channel = channel;
            control.strip = kept + int(strips.size());
            (control.kind == Kind::Fader ? strip.faders : control.kind == Kind::XYPad ? strip.pads : strip.buttons)++;
            controls.push_back(std::move(control));
        }
        strips.push_back(std::move(strip));
    }
    if (keepState) {
        for (Control &control : controls) {
            const Strip &strip = strips[size_t(control.strip - kept)];
            const auto it = previous.constFind(placeOf(texts.view(strip.id), control, texts.view(control.oscAddress)));
            if (it == previous.constEnd())
                continue;
            const Control &before = m_controls[size_t(*it)];
            control.value = before.value;
            control.x = before.x;
            control.y = before.y;
            control.checked = before.checked;
            control.lastSentValue = before.lastSentValue;
            control.lastSentPair = before.lastSentPair;
        }
    }
    fixtures = QJsonArray();

    if (keepState) {
        // A control that stands where it stood, as it was, keeps the object that shows it,
        // and a strip all of whose shown controls do so keeps its row.
        std::vector<bool> inPlace(size_t(stripCount()), true);
        std::vector<std::pair<DeskControl *, int>> moved;
        for (int s = kept; s < stripCount(); ++s) {
            const Strip &old = m_stripList[size_t(s)];
            const Strip *now = s - kept < int(strips.size()) ? &strips[size_t(s - kept)] : nullptr;
            if (!now || view(old.id) != texts.view(now->id)) {
                inPlace[size_t(s)] = false;
                continue;
            }
            for (int offset = 0; offset < old.channelCount; ++offset) {
                Control &before = m_controls[size_t(old.firstControl + offset)];
                if (!before.object)
                    continue;
                Control *after = offset < now->channelCount ? &controls[size_t(now->firstControl - keptControls + offset)]
                                                            : nullptr;
                const auto same = [&](Text a, Text b) { return view(a) == texts.view(b); };
                if (after && after->kind == before.kind && after->universe == before.universe
                    && after->channel == before.channel && after->toggle == before.toggle
                    && same(before.label, after->label) && same(before.oscAddress, after->oscAddress)
                    && same(before.argType, after->argType) && same(before.mode, after->mode)
                    && same(before.stringValue, after->stringValue)) {
                    after->object = std::exchange(before.object, nullptr);
                    after->held = before.held;
                    moved.emplace_back(after->object, now->firstControl + offset);
                } else {
                    inPlace[size_t(s)] = false;
                }
            }
        }
        for (Control &control : controls) {
            if (control.held)
                strips[size_t(control.strip - kept)].heldControls++;
        }
        QList<DeskControl *> objects;
        for (int i = keptControls; i < controlCount(); ++i) {
            if (DeskControl *object = std::exchange(m_controls[size_t(i)].object, nullptr)) {
                object->detach();
                objects.append(object);
            }
        }
        QString pool = texts.take();
        m_strips->edit(
                kept, [&](int strip) { return strip < int(inPlace.size()) && inPlace[size_t(strip)]; },
                [&] {
                    m_stripList.resize(size_t(kept));
                    m_stripList.insert(m_stripList.end(), strips.begin(), strips.end());
                    m_controls.resize(size_t(keptControls));
                    m_controls.insert(m_controls.end(), std::make_move_iterator(controls.begin()),
                                      std::make_move_iterator(controls.end()));
                    m_texts = std::move(pool);
                    index();
                    for (const auto &[object, at] : moved)
                        object->moveTo(at);
                });
        for (DeskControl *object : objects)
            object->deleteLater();
        emit loaded();
        return;
    }

    // The parsed document is gone, and what stays is copied into the room it leaves: a
    // large list's parse would otherwise leave megabytes of freed heap pinned by what stays.
    strips = std::vector<Strip>(strips);
    controls = std::vector<Control>(controls);
    QString pool = texts.take();
    pool = QString(pool.constData(), pool.size());

    QList<DeskControl *> objects;
    for (Control &control : m_controls) {
        if (control.object) {
            control.object->detach();
            objects.append(control.object);
        }
    }
    m_strips->reload([&] {
        m_stripList = std::move(strips);
        m_controls = std::move(controls);
        m_texts = std::move(pool);
        index();
    });
    // After the items that showed them, which the reload released first.
    for (DeskControl *object : objects)
        object->deleteLater();
#ifdef __GLIBC__
    // glibc keeps freed heap pages until asked.
    malloc_trim(0);
#endif
    emit loaded();
}

void OscDesk::index()
{
    m_byAddress.clear();
    m_byChannel.clear();
    m_byAddress.reserve(qsizetype(m_controls.size()));
    for (int i = 0; i < int(m_controls.size()); ++i) {
        const Control &control = m_controls[size_t(i)];
        if (control.oscAddress.size == 0)
            m_byChannel.insert(channelKey(control.universe, control.channel), i);
        else
            m_byAddress.insert(view(control.oscAddress), i);
    }
}

void OscDesk::applyFeedback(const QString &address, const QString &tags, const QVariantList &values)
{
    const auto apply = [&](int index) {
        Control &control = m_controls[size_t(index)];
        const Moved moved = moveByFeedback(control, view(control.stringValue), tags, values);
        if (!control.object || moved == Moved::Nothing)
            return;
        if (moved == Moved::Value)
            emit control.object->valueChanged();
        else if (moved == Moved::Checked)
            emit control.object->checkedChanged();
        else
            emit control.object->pointChanged();
    };
    if (address == kChannelAddress && tags == QLatin1String("iii")) {
        const auto [first, last] = m_byChannel.equal_range(channelKey(values.value(0).toInt(), values.value(1).toInt()));
        for (auto it = first; it != last; ++it)
            apply(it.value());
        return;
    }
    const auto [first, last] = m_byAddress.equal_range(QStringView(address));
    for (auto it = first; it != last; ++it)
        apply(it.value());
}

QList<DeskControl *> OscDesk::controlObjects(int strip)
{
    const Strip &s = m_stripList.at(size_t(strip));
    QList<DeskControl *> objects;
    objects.reserve(s.channelCount);
    for (int i = s.firstControl; i < s.firstControl + s.channelCount; ++i) {
        Control &control = m_controls[size_t(i)];
        if (!control.object)
            control.object = new DeskControl(this, i, this);
        objects.append(control.object);
    }
    return objects;
}

void OscDesk::releaseStrip(int strip)
{
    const Strip &s = m_stripList.at(size_t(strip));
    for (int i = s.firstControl; i < s.firstControl + s.channelCount; ++i) {
        Control &control = m_controls[size_t(i)];
        if (control.object)
            std::exchange(control.object, nullptr)->deleteLater();
    }
}

void OscDesk::setHeld(int index, bool held)
{
    Control &control = m_controls[size_t(index)];
    control.held = held;
    m_stripList[size_t(control.strip)].heldControls += held ? 1 : -1;
    emit heldChanged(control.strip);
}
