#pragma once

#include <QHash>
#include <QJsonArray>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringView>
#include <QVariantList>

#include <vector>

class DeskControl;
class DeskStrips;
class OscEmulatorBackend;
class OscMonitor;

// The desk's state: for the loaded fixtures, one strip per fixture and one control per
// channel, each with what its channel entry says and where it stands (a fader's
// position, a toggle's state, a pad's point, what it last sent). Feedback from the
// target moves controls here whether or not they are on screen. The window draws the
// strips near its view (`strips`), their controls through DeskControl objects that
// exist only while their strip is near. Published to QML as `desk`.
class OscDesk : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QObject *strips READ strips CONSTANT)
    Q_PROPERTY(int controlCount READ controlCount NOTIFY loaded)

public:
    enum class Kind : quint8 { Fader, Button, XYPad };

    // A text of the desk's pool of texts: the texts of a large desk take a few blocks,
    // not an allocation each, so that the memory a load frees goes back whole.
    struct Text
    {
        quint32 at = 0;
        quint32 size = 0;
    };

    struct Control
    {
        Text label;
        Text oscAddress;       // empty: the generic channel message
        Text argType;          // as the entry gives it; pads have none
        Text mode;             // buttons: "toggle", "momentary" or another text
        Text stringValue;      // buttons
        QString lastSentPair;  // pads: the last pair sent, "x,y"; empty: none yet
        int universe = 0;
        int channel = 1;
        int strip = 0;
        int lastSentValue = -1;  // faders: the last scaled value sent; -1: none yet
        double value = 0;        // faders: 0..255
        double x = 0.5;          // pads: 0..1, left to right
        double y = 0.5;          // pads: 0..1, bottom to top
        Kind kind = Kind::Fader;
        bool toggle = false;     // a button whose mode is "toggle"
        bool checked = false;    // toggle buttons
        bool held = false;       // pressed by the hand: feedback is dropped meanwhile
        DeskControl *object = nullptr;
    };

    struct Strip
    {
        Text id;  // the fixture's id, as text
        Text name;
        Text manufacturer;
        Text modelName;
        Text deviceType;
        int universe = 0;
        int startChannel = 1;
        int channelCount = 0;
        int firstControl = 0;  // its controls, in channel order, from here on
        int faders = 0;
        int pads = 0;
        int buttons = 0;
        int heldControls = 0;
        quint32 textsFrom = 0;  // its texts, and those first used by it, from here on in the pool
    };

    explicit OscDesk(QObject *parent = nullptr);
    ~OscDesk() override;

    QObject *strips();
    DeskStrips *stripModel() { return m_strips; }
    int controlCount() const { return int(m_controls.size()); }
    int stripCount() const { return int(m_stripList.size()); }
    const Control &control(int index) const { return m_controls.at(size_t(index)); }
    const Strip &strip(int index) const { return m_stripList.at(size_t(index)); }
    QStringView view(Text text) const { return QStringView(m_texts).mid(text.at, text.size); }
    QString text(Text text) const { return view(text).toString(); }

    // Takes every list the fixture store loads, and the monitor's feedback.
    void follow(OscEmulatorBackend *store, OscMonitor *monitor);

    // A new fixtures list (maps as the fixture store gives them; a missing key takes the
    // strip's fallback): every control starts at its initial state, nothing remembered;
    // or, with keepState (an edit of the list), a control of the same fixture id and
    // channel that still is of the same kind and sends to the same address keeps where it
    // stands and what it last sent. With keepState, the first `unchanged` fixtures are
    // those of the list before, as they were: their strips stay as they are.
    void setFixtures(QJsonArray fixtures, bool keepState = false, int unchanged = 0);

    // A message heard from the target moves the controls that send to its address, read
    // by its own type: a float 0.0-1.0, an int 0-127 (as a fader's range), T or F, a
    // text, two floats for a pad. `/osc/channel ,iii` moves the controls without an
    // address of that universe and channel. A held control keeps its place.
    void applyFeedback(const QString &address, const QString &tags, const QVariantList &values);

    // The strip's controls as objects for QML, in channel order, made on first request;
    // releaseStrip lets them go once the items that show them are gone.
    QList<DeskControl *> controlObjects(int strip);
    void releaseStrip(int strip);

signals:
    void loaded();
    // A control of the strip was pressed or let go.
    void heldChanged(int strip);

private:
    friend class DeskControl;
    Control &mutableControl(int index) { return m_controls[size_t(index)]; }
    void setHeld(int index, bool held);
    void detachObjects();
    void index();

    DeskStrips *m_strips;
    std::vector<Strip> m_stripList;
    std::vector<Control> m_controls;
    QString m_texts;
    // Controls by the address they send to, and those without one by universe and channel.
    QMultiHash<QStringView, int> m_byAddress;
    QMultiHash<quint64, int> m_byChannel;
};
