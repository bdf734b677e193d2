#pragma once

#include "oscdesk.h"

#include <QAbstractListModel>
#include <QPointF>
#include <QVariantList>

#include <functional>
#include <vector>

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
        ContinuousControlsRole,  // DeskControl objects of the faders and pads, in channel order
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
        QVariantList continuous;
        QVariantList buttons;
    };

    void relayout();
    std::vector<int> wantedStrips() const;
    bool inView(int strip) const;
    Row rowFor(int strip, bool eager);
    void updateRows(bool eager);
    void leave(int first, int last);

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
