#include "deskstrips.h"

#include "deskcontrol.h"

#include <algorithm>
#include <cmath>

namespace {

// A strip's column: margins of 8, 8 between header, fader row and button grid; grid
// cells of 56 x 64, 4 apart; faders 40 wide, 4 apart in their row.
constexpr qreal kMargin = 8;
constexpr qreal kGap = 8;
constexpr qreal kCellWidth = 56;
constexpr qreal kCellHeight = 64;
constexpr qreal kCellGap = 4;
constexpr qreal kFaderWidth = 40;
constexpr qreal kRowGap = 4;
constexpr qreal kMinimumPadWidth = 140;
constexpr qreal kMinimumStripWidth = 170;
constexpr int kEagerEditedControls = 64;

int buttonRows(int buttons)
{
    return buttons > 0 ? (buttons + DeskStrips::buttonColumns(buttons) - 1) / DeskStrips::buttonColumns(buttons) : 0;
}

} // namespace

DeskControlList::DeskControlList(const QList<DeskControl *> &controls, QObject *parent)
    : QAbstractListModel(parent), m_controls(controls)
{
}

void DeskControlList::append(const QList<DeskControl *> &controls)
{
    if (controls.isEmpty())
        return;
    beginInsertRows(QModelIndex(), count(), count() + int(controls.size()) - 1);
    m_controls += controls;
    endInsertRows();
    emit countChanged();
}

int DeskControlList::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count();
}

QVariant DeskControlList::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= count() || role != Qt::UserRole)
        return QVariant();
    return QVariant::fromValue<QObject *>(m_controls.at(index.row()));
}

QHash<int, QByteArray> DeskControlList::roleNames() const
{
    return {{Qt::UserRole, "deskControl"}};
}

DeskStrips::DeskStrips(OscDesk *desk) : QAbstractListModel(desk), m_desk(desk)
{
    connect(desk, &OscDesk::heldChanged, this, [this] { updateRows(false); });
}

int DeskStrips::buttonColumns(int buttons)
{
    if (buttons <= 4)
        return qMax(1, buttons);
    const int rows = (buttons + 3) / 4;
    return (buttons + rows - 1) / rows;
}

qreal DeskStrips::padWidth(const OscDesk::Strip &strip, qreal stripHeight, qreal headerHeight)
{
    const int rows = buttonRows(strip.buttons);
    const qreal grid = rows > 0 ? kGap + rows * kCellHeight + (rows - 1) * kCellGap : 0;
    return qMax(kMinimumPadWidth, stripHeight - 2 * kMargin - headerHeight - kGap - grid);
}

qreal DeskStrips::stripWidth(const OscDesk::Strip &strip, qreal stripHeight, qreal headerHeight)
{
    const int continuous = strip.faders + strip.pads;
    // The row ends in a spacer that takes the spare width, one gap after the last control.
    const qreal row = continuous > 0
            ? strip.faders * kFaderWidth + strip.pads * padWidth(strip, stripHeight, headerHeight) + continuous * kRowGap
            : 0;
    const int columns = buttonColumns(strip.buttons);
    const qreal grid = strip.buttons > 0 ? columns * kCellWidth + (columns - 1) * kCellGap : 0;
    return std::max({kMinimumStripWidth, row, grid}) + 2 * kMargin;
}

void DeskStrips::setLayout(qreal width, qreal stripHeight, qreal headerHeight)
{
    if (width == m_width && stripHeight == m_stripHeight && headerHeight == m_headerHeight)
        return;
    m_width = width;
    m_stripHeight = stripHeight;
    m_headerHeight = headerHeight;
    relayout();
    updateRows(true);
    if (!m_rows.empty())
        emit dataChanged(index(0), index(int(m_rows.size()) - 1), {StripXRole, StripYRole, StripWidthRole, PadWidthRole});
}

void DeskStrips::setView(qreal top, qreal height)
{
    if (top == m_top && height == m_viewHeight)
        return;
    m_top = top;
    m_viewHeight = height;
    updateRows(false);
}

void DeskStrips::reload(const std::function<void()> &replace)
{
    if (!m_rows.empty())
        leave(0, int(m_rows.size()) - 1);
    beginResetModel();
    for (Row &row : m_rows)
        dropRow(row);
    m_rows.clear();
    replace();
    relayout();
    for (int strip : wantedStrips())
        m_rows.push_back(rowFor(strip, true));
    endResetModel();
}

void DeskStrips::edit(int first, const std::function<bool(int)> &inPlace, const std::function<void()> &replace)
{
    dropRowsWhere([&](int strip) { return strip >= first && !inPlace(strip); });
    replace();
    relayout();
    for (size_t i = 0; i < m_rows.size(); ++i) {
        Row &row = m_rows[i];
        if (row.strip < first)
            continue;
        QList<DeskControl *> continuous;
        QList<DeskControl *> buttons;
        for (DeskControl *control : m_desk->controlObjects(row.strip))
            (control->kind() == QLatin1String("button") ? buttons : continuous).append(control);
        row.continuous->append(continuous.mid(row.continuous->count()));
        row.buttons->append(buttons.mid(row.buttons->count()));
        emit dataChanged(index(int(i)), index(int(i)),
                         {StripXRole, StripYRole, StripWidthRole, NameRole, ManufacturerRole, ModelNameRole,
                          DeviceTypeRole, UniverseRole, StartChannelRole, ChannelCountRole, ButtonColumnsRole,
                          PadWidthRole});
    }
    // A strip an edit brings into view is built at once, unless it holds many controls (a
    // learned strip of hundreds): that one is built between frames.
    updateRows(false, kEagerEditedControls);
}

void DeskStrips::dropRow(Row &row)
{
    row.continuous->deleteLater();
    row.buttons->deleteLater();
}

// Rows go in runs, last first, as the view would have them go.
void DeskStrips::dropRowsWhere(const std::function<bool(int)> &goes)
{
    for (int last = int(m_rows.size()) - 1; last >= 0;) {
        if (!goes(m_rows[size_t(last)].strip)) {
            --last;
            continue;
        }
        int first = last;
        while (first > 0 && goes(m_rows[size_t(first) - 1].strip))
            --first;
        leave(first, last);
        beginRemoveRows(QModelIndex(), first, last);
        for (int row = first; row <= last; ++row)
            dropRow(m_rows[size_t(row)]);
        m_rows.erase(m_rows.begin() + first, m_rows.begin() + last + 1);
        endRemoveRows();
        last = first - 1;
    }
}

// A Flow's rule: a strip that would pass the right edge starts a new row, unless it is
// the first of its row (then it is cut off).
void DeskStrips::relayout()
{
    const int count = m_desk->stripCount();
    m_positions.resize(size_t(count));
    m_widths.resize(size_t(count));
    qreal x = 0;
    qreal y = 0;
    for (int i = 0; i < count; ++i) {
        const qreal width = stripWidth(m_desk->strip(i), m_stripHeight, m_headerHeight);
        if (x > 0 && x + width > m_width) {
            x = 0;
            y += m_stripHeight + kSpacing;
        }
        m_positions[size_t(i)] = QPointF(x, y);
        m_widths[size_t(i)] = width;
        x += width + kSpacing;
    }
    const qreal height = count > 0 ? y + m_stripHeight : 0;
    if (height != m_contentHeight) {
        m_contentHeight = height;
        emit contentHeightChanged();
    }
}

bool DeskStrips::inView(int strip) const
{
    const qreal y = m_positions[size_t(strip)].y();
    return y + m_stripHeight > m_top && y < m_top + m_viewHeight;
}

// Strips are laid out top to bottom in list order, so those near the view are a run.
std::vector<int> DeskStrips::wantedStrips() const
{
    const qreal from = m_top - m_viewHeight;
    const qreal to = m_top + 2 * m_viewHeight;
    const auto begin = std::partition_point(m_positions.begin(), m_positions.end(),
                                            [&](const QPointF &at) { return at.y() + m_stripHeight <= from; });
    const auto end = std::partition_point(begin, m_positions.end(), [&](const QPointF &at) { return at.y() < to; });
    const int first = int(begin - m_positions.begin());
    const int last = int(end - m_positions.begin());
    std::vector<int> wanted;
    for (int i = 0; i < m_desk->stripCount(); ++i) {
        if ((i >= first && i < last) || m_desk->strip(i).heldControls > 0)
            wanted.push_back(i);
    }
    return wanted;
}

DeskStrips::Row DeskStrips::rowFor(int strip, bool eager)
{
    QList<DeskControl *> continuous;
    QList<DeskControl *> buttons;
    for (DeskControl *control : m_desk->controlObjects(strip))
        (control->kind() == QLatin1String("button") ? buttons : continuous).append(control);
    return Row{strip, eager && inView(strip), true, new DeskControlList(continuous, this),
               new DeskControlList(buttons, this)};
}

// Rows leave and come in runs, so that the view destroys and builds only what changed.
void DeskStrips::updateRows(bool eager, int eagerUpTo)
{
    const std::vector<int> wanted = wantedStrips();
    const auto isWanted = [&](int strip) { return std::binary_search(wanted.begin(), wanted.end(), strip); };
    std::vector<int> released;
    dropRowsWhere([&](int strip) {
        if (isWanted(strip))
            return false;
        released.push_back(strip);
        return true;
    });
    size_t row = 0;
    for (size_t i = 0; i < wanted.size();) {
        if (row < m_rows.size() && m_rows[row].strip == wanted[i]) {
            ++row;
            ++i;
            continue;
        }
        size_t end = i;
        while (end < wanted.size() && !(row < m_rows.size() && m_rows[row].strip == wanted[end]))
            ++end;
        beginInsertRows(QModelIndex(), int(row), int(row + (end - i)) - 1);
        std::vector<Row> added;
        for (size_t k = i; k < end; ++k)
            added.push_back(rowFor(wanted[k], eager || m_desk->strip(wanted[k]).channelCount <= eagerUpTo));
        m_rows.insert(m_rows.begin() + qsizetype(row), std::make_move_iterator(added.begin()),
                      std::make_move_iterator(added.end()));
        endInsertRows();
        row += end - i;
        i = end;
    }
    // After the removals, which released the items that showed these controls.
    for (int strip : released)
        m_desk->releaseStrip(strip);
}

// A strip still being built between frames would otherwise go on building in a view that
// has let it go.
void DeskStrips::leave(int first, int last)
{
    for (int row = first; row <= last; ++row)
        m_rows[size_t(row)].near = false;
    emit dataChanged(index(first), index(last), {NearRole});
}

int DeskStrips::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : int(m_rows.size());
}

QVariant DeskStrips::data(const QModelIndex &index, int role) const
{
    if (!index.isValid() || index.row() >= int(m_rows.size()))
        return QVariant();
    const Row &row = m_rows[size_t(index.row())];
    const OscDesk::Strip &strip = m_desk->strip(row.strip);
    switch (role) {
    case StripIndexRole: return row.strip;
    case StripXRole: return m_positions[size_t(row.strip)].x();
    case StripYRole: return m_positions[size_t(row.strip)].y();
    case StripWidthRole: return m_widths[size_t(row.strip)];
    case EagerRole: return row.eager;
    case NearRole: return row.near;
    case NameRole: return m_desk->text(strip.name);
    case ManufacturerRole: return m_desk->text(strip.manufacturer);
    case ModelNameRole: return m_desk->text(strip.modelName);
    case DeviceTypeRole: return m_desk->text(strip.deviceType);
    case UniverseRole: return strip.universe;
    case StartChannelRole: return strip.startChannel;
    case ChannelCountRole: return strip.channelCount;
    case ContinuousControlsRole: return QVariant::fromValue<QObject *>(row.continuous);
    case ButtonControlsRole: return QVariant::fromValue<QObject *>(row.buttons);
    case ButtonColumnsRole: return buttonColumns(strip.buttons);
    case PadWidthRole: return padWidth(strip, m_stripHeight, m_headerHeight);
    default: return QVariant();
    }
}

QHash<int, QByteArray> DeskStrips::roleNames() const
{
    return {
        {StripIndexRole, "stripIndex"},
        {StripXRole, "stripX"},
        {StripYRole, "stripY"},
        {StripWidthRole, "stripWidth"},
        {EagerRole, "eager"},
        {NearRole, "near"},
        {NameRole, "name"},
        {ManufacturerRole, "manufacturer"},
        {ModelNameRole, "modelName"},
        {DeviceTypeRole, "deviceType"},
        {UniverseRole, "universe"},
        {StartChannelRole, "startChannel"},
        {ChannelCountRole, "channelCount"},
        {ContinuousControlsRole, "continuousControls"},
        {ButtonControlsRole, "buttonControls"},
        {ButtonColumnsRole, "buttonColumns"},
        {PadWidthRole, "padWidth"},
    };
}
