#pragma once

#include "oscdesk.h"

#include <QAbstractListModel>
#include <QPointF>
#include <QVariantList>

#include <functional>
#include <vector>

class DeskControl;

// A strip's controls of one kind (faders and pads, or buttons) as a list for a Repeater,
// which builds only what is appended to it.
class DeskControlList : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(int count READ count NOTIFY countChanged)

public:
    DeskControlList(const QList<DeskControl *> &controls, QObject *parent);

    int count() const { return int(m_controls.size()); }
    const QList<DeskControl *> &controls() const { return m_controls; }
    void append(const QList<DeskControl *> &controls);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

signals:
    void countChanged();

private:
    QList<DeskControl *> m_controls;
};

// Where the desk's strips go, and which of them the view shows. The strips are laid out
// as a Flow of them would be: left to right 8 px apart, wrapping into rows 8 px apart,
// each as wide as its controls need and as high as the view says. The rows of this model
// are only the strips within one view's height of the view, above or below it, and any
// strip whose control is held: the view builds those and no others.
class DeskStrips : public QAbstractListModel
{
    Q_OBJECT
    Q_PROPERTY(qreal contentHeight READ contentHeight NOTIFY contentHeightChanged)

public:
    enum Role {
        StripIndexRole = Qt::UserRole + 1,
        StripXRole,
        StripYRole,
        StripWidthRole,
        EagerRole,  // built at once: in view after a load or a new layout, not while scrolling
        NearRole,   // false just before the row goes, so that a build under way stops first
        NameRole,
        ManufacturerRole,
        ModelNameRole,
        DeviceTypeRole,
        UniverseRole,
        StartChannelRole,
        ChannelCountRole,
        ContinuousControlsRole,  // DeskControlList of the faders and pads, in channel order
        ButtonControlsRole,      // and of the buttons
        ButtonColumnsRole,
        PadWidthRole,
    };

    static constexpr qreal kSpacing = 8;

    explicit DeskStrips(OscDesk *desk);

    qreal contentHeight() const { return m_contentHeight; }
    QPointF position(int strip) const { return m_positions.at(size_t(strip)); }
    qreal width(int strip) const { return m_widths.at(size_t(strip)); }

    // The width the strips wrap in, their height, and the height of a strip's header
    // (its three lines of text, as drawn), which with the button grid's rows decides
    // the height of the fader row and so the width of a pad.
    Q_INVOKABLE void setLayout(qreal width, qreal stripHeight, qreal headerHeight);
    // The part of the layout in view, from `top` down.
    Q_INVOKABLE void setView(qreal top, qreal height);

    // At most four buttons a row, in the fewest columns that hold them in ceil(n / 4) rows.
    static int buttonColumns(int buttons);
    // A pad is as wide as its row is high, at least 140.
    static qreal padWidth(const OscDesk::Strip &strip, qreal stripHeight, qreal headerHeight);
    // The widest of 170, the row of faders (40 each) and pads, and the button grid
    // (56 a cell), 4 apart, plus the strip's margins of 8.
    static qreal stripWidth(const OscDesk::Strip &strip, qreal stripHeight, qreal headerHeight);

    // Called by the desk around replacing its list.
    void reload(const std::function<void()> &replace);
    // Called by the desk around an edit of its list from strip `first` on: the rows of
    // the strips before it stay as they are, and so do those of later strips for which
    // `inPlace` holds (their controls' objects stay, and any new ones come after them).
    void edit(int first, const std::function<bool(int)> &inPlace, const std::function<void()> &replace);

    int rowCount(const QModelIndex &parent = QModelIndex()) const override;
    QVariant data(const QModelIndex &index, int role) const override;
    QHash<int, QByteArray> roleNames() const override;

signals:
    void contentHeightChanged();

private:
    struct Row
    {
        int strip;
        bool eager;
        bool near = true;
        DeskControlList *continuous = nullptr;
        DeskControlList *buttons = nullptr;
    };

    void relayout();
    std::vector<int> wantedStrips() const;
    bool inView(int strip) const;
    Row rowFor(int strip, bool eager);
    void updateRows(bool eager, int eagerUpTo = 0);
    void leave(int first, int last);
    void dropRowsWhere(const std::function<bool(int)> &goes);
    static void dropRow(Row &row);

    OscDesk *m_desk;
    std::vector<QPointF> m_positions;
    std::vector<qreal> m_widths;
    std::vector<Row> m_rows;
    qreal m_width = 0;
    qreal m_stripHeight = 300;
    qreal m_headerHeight = 0;
    qreal m_top = 0;
    qreal m_viewHeight = 0;
    qreal m_contentHeight = 0;
};
