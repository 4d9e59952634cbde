#include "host/Screen.h"

#include "host/PictureText.h"
#include "host/SafeText.h"

#include <fmt/format.h>

#include <algorithm>

namespace host
{
namespace
{
constexpr const char* kReverse = "\x1b[7m";
constexpr const char* kBold = "\x1b[1m";
constexpr const char* kDim = "\x1b[2m";
constexpr const char* kRed = "\x1b[1;31m";
constexpr const char* kYellow = "\x1b[33m";
constexpr const char* kGreen = "\x1b[32m";
constexpr const char* kNormal = "\x1b[0m";

// Heartbeats come every second; this many seconds without one mean trouble.
constexpr std::int64_t kHeartbeatLate = 5;

// Widths below which the serial number and the model make room for the state.
constexpr std::size_t kWidthForSerial = 70;
constexpr std::size_t kWidthForModel = 100;

// One line that is never longer than the screen is wide.
class CScreenLine
{
public:
    explicit CScreenLine(std::size_t columns) : m_left(columns) {}

    // `text` is safe text.
    CScreenLine& Add(std::string_view text, const char* style = "")
    {
        if (m_left == 0)
        {
            return *this;
        }
        const std::size_t columns = std::min(Columns(text), m_left);
        m_left -= columns;
        const std::string piece = Fit(text, columns);
        m_text += *style == '\0' ? piece : style + piece + kNormal;
        return *this;
    }

    CScreenLine& AddColumn(std::string_view text, std::size_t width, const char* style = "")
    {
        return Add(Fit(text, width) + " ", style);
    }

    CScreenLine& Fill(const char* style) { return Add(std::string(m_left, ' '), style); }

    [[nodiscard]] const std::string& Text() const { return m_text; }

private:
    std::string m_text;
    std::size_t m_left;
};

class CComposer
{
public:
    CComposer(const ViewState& state, const std::deque<ViewLine>& log, ScreenSize size)
        : m_state(state),
          m_log(log),
          m_size(size)
    {
    }

    std::vector<std::string> Compose()
    {
        AddHeader();
        AddPlain(DescribeModules(m_state.picture), kDim);
        AddDisks();
        AddOthers();
        AddBoard();
        AddLog();
        if (m_lines.size() > m_size.rows)
        {
            m_lines.resize(m_size.rows);
        }
        return std::move(m_lines);
    }

private:
    [[nodiscard]] CScreenLine Line() const { return CScreenLine(m_size.columns); }

    void AddPlain(std::string_view text, const char* style = "")
    {
        m_lines.push_back(Line().Add(text, style).Text());
    }

    void AddHeader()
    {
        CScreenLine line = Line();
        line.Add(fmt::format(" {}  {}", m_state.appliance, DateTimeText(m_state.nowSec)), kReverse);
        if (m_state.speed != 1)
        {
            line.Add(fmt::format("  x{}", m_state.speed), kReverse);
        }
        const std::int64_t last = m_state.heartbeats.lastUtcSec;
        const std::int64_t age = m_state.nowSec - last;
        const std::string heartbeat =
            last == 0 ? "none yet" : fmt::format("{} s ago", std::max<std::int64_t>(0, age));
        line.Add("  heartbeat ", kReverse);
        // At a high speed a second passes faster than the screen is drawn.
        const bool late = last != 0 && age > kHeartbeatLate + m_state.speed;
        line.Add(heartbeat, late ? kRed : kReverse);
        const std::size_t alarms = m_state.picture.AlarmCount();
        line.Add("  ", kReverse)
            .Add(fmt::format("alarms {}", alarms), alarms > 0 ? kRed : kReverse)
            .Fill(kReverse);
        m_lines.push_back(line.Text());
    }

    // Half of the screen at most is for the disks; those in alarm come first when they do not all fit.
    void AddDisks()
    {
        std::vector<DiskRow> rows;
        rows.reserve(m_state.picture.disks.size());
        for (const DiskPicture& disk : m_state.picture.disks)
        {
            rows.push_back(DescribeDisk(disk));
        }
        const std::size_t room = std::max<std::size_t>(1, m_size.rows / 2);
        if (rows.size() > room)
        {
            std::stable_sort(rows.begin(), rows.end(),
                             [](const DiskRow& a, const DiskRow& b) { return a.alarm && !b.alarm; });
        }
        std::size_t nameWidth = 8;
        for (const DiskRow& row : rows)
        {
            nameWidth = std::max(nameWidth, Columns(row.name));
        }
        nameWidth = std::min(nameWidth, std::max<std::size_t>(8, m_size.columns / 4));
        CScreenLine head = Line();
        AddDiskCells(head, {"bay", "disk", "model", "serial", "temp", "state", false, true}, nameWidth, kBold,
                     kBold);
        m_lines.push_back(head.Text());
        const std::size_t shown = std::min(rows.size(), room);
        for (std::size_t i = 0; i < shown; ++i)
        {
            CScreenLine line = Line();
            AddDiskCells(line, rows[i], nameWidth, rows[i].attached ? "" : kDim, StateStyle(rows[i]));
            m_lines.push_back(line.Text());
        }
        if (shown < rows.size())
        {
            AddPlain(fmt::format("... and {} more", rows.size() - shown), kDim);
        }
    }

    static const char* StateStyle(const DiskRow& row)
    {
        if (row.alarm)
        {
            return kRed;
        }
        return row.attached && row.state.rfind("Healthy", 0) == 0 ? kGreen : kYellow;
    }

    void AddDiskCells(CScreenLine& line, const DiskRow& row, std::size_t nameWidth, const char* style,
                      const char* stateStyle) const
    {
        line.Add(FitRight(row.bay, 3) + " ", style).AddColumn(row.name, nameWidth, style);
        if (m_size.columns >= kWidthForModel)
        {
            line.AddColumn(row.model, 26, style);
        }
        if (m_size.columns >= kWidthForSerial)
        {
            line.AddColumn(row.serial, 18, style);
        }
        line.Add(FitRight(row.temperature, 5) + " ", style).Add(row.state, stateStyle);
    }

    void AddOthers()
    {
        if (m_state.picture.controller)
        {
            AddPlain(DescribeController(*m_state.picture.controller));
        }
        AddVolumes();
    }

    void AddBoard()
    {
        const Picture& picture = m_state.picture;
        if (const std::string chip = DescribeChip(picture); !chip.empty())
        {
            AddPlain(chip, picture.watchdog && picture.watchdog->IsLate() ? kRed : "");
        }
        // Those in alarm have a row each and come first, in case there is no room for all. The others stand
        // in cells of one width, as many side by side as fit; each kind begins a row of its own.
        std::vector<const SensorPicture*> calm;
        std::size_t width = 0;
        for (const SensorPicture& sensor : picture.sensors)
        {
            if (sensor.health.alarm)
            {
                AddPlain(DescribeSensor(sensor), kRed);
                continue;
            }
            width = std::max(width, Columns(DescribeReading(sensor)) + 1);
            calm.push_back(&sensor);
        }
        AddReadings(calm, width);
    }

    void AddReadings(const std::vector<const SensorPicture*>& calm, std::size_t width)
    {
        const std::size_t perRow = std::max<std::size_t>(1, (m_size.columns + 2) / (width + 1));
        std::size_t room = std::max<std::size_t>(1, m_size.rows / 3);
        std::size_t at = 0;
        for (; at < calm.size() && room > 0; --room)
        {
            CScreenLine line = Line();
            const std::string& kind = calm[at]->kind;
            for (std::size_t cell = 0; cell < perRow && at < calm.size() && calm[at]->kind == kind; ++cell)
            {
                line.AddColumn(DescribeReading(*calm[at++]), width);
            }
            m_lines.push_back(line.Text());
        }
        if (at < calm.size())
        {
            AddPlain(fmt::format("... and {} more", calm.size() - at), kDim);
        }
    }

    void AddVolumes()
    {
        const RaidPicture raid = MakeRaidPicture(m_state.picture);
        for (const RaidVolume& row : raid.volumes)
        {
            CScreenLine line = Line();
            if (row.task)
            {
                line.Add(ProgressBar(row.task->percent) + " ", kYellow);
            }
            line.Add(DescribeVolume(row), row.volume->health.alarm ? kRed : "");
            m_lines.push_back(line.Text());
        }
        if (const std::string loose = DescribeLooseDisks(raid); !loose.empty())
        {
            AddPlain(loose);
        }
    }

    void AddLog()
    {
        AddPlain("");
        const std::size_t room = m_size.rows > m_lines.size() ? m_size.rows - m_lines.size() : 0;
        for (std::size_t i = m_log.size() - std::min(room, m_log.size()); i < m_log.size(); ++i)
        {
            const ViewLine& line = m_log[i];
            const char* style = line.level >= kLevelWarning ? kYellow : "";
            style = line.level >= kLevelError ? kRed : style;
            m_lines.push_back(Line()
                                  .Add(TimeText(line.utcSec) + (line.fromHost ? " * " : "   "), kDim)
                                  .Add(SafeText(line.text), style)
                                  .Text());
        }
    }

    const ViewState& m_state;
    const std::deque<ViewLine>& m_log;
    const ScreenSize m_size;
    std::vector<std::string> m_lines;
};
} // namespace

std::vector<std::string> ComposeScreen(const ViewState& state, const std::deque<ViewLine>& log,
                                       ScreenSize size)
{
    return CComposer(state, log, size).Compose();
}
} // namespace host
