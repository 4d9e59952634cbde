#include "host/LineView.h"

#include "host/PictureText.h"
#include "host/RaidPicture.h"
#include "host/SafeText.h"

#include <fmt/format.h>

#include <ostream>

namespace host
{
namespace
{
// What must differ before the table is printed again: who is there and in what health, not temperatures and
// jobs.
std::string Essence(const Picture& picture)
{
    std::string text;
    for (const DiskPicture& disk : picture.disks)
    {
        text +=
            fmt::format("{}\n{}\n{}\n{}\n{}\n{}\n{}\n{}\n", disk.DisplayName(), disk.serial, disk.bay,
                        disk.attached, disk.unitName, disk.hotSpare, disk.health.alarm, disk.health.message);
    }
    text += picture.controller ? picture.controller->name + picture.controller->serial + "\n" : "";
    for (const RaidVolume& row : MakeRaidPicture(picture).volumes)
    {
        // What it is busy with, but not how far it is.
        text += fmt::format("{}\n{}\n{}\n{}\n{}\n", row.volume->name, row.volume->type,
                            row.volume->health.alarm, row.state, row.task ? row.task->name : "");
    }
    text += picture.chip.name + "\n";
    for (const SensorPicture& sensor : picture.sensors)
    {
        text += fmt::format("{} {}\n", sensor.id, sensor.health.alarm);
    }
    return text;
}
} // namespace

const char* LevelWord(int level)
{
    if (level >= kLevelError)
    {
        return "error";
    }
    if (level >= kLevelWarning)
    {
        return "warning";
    }
    return level >= kLevelInfo ? "info" : "debug";
}

void CLineView::ShowLine(const ViewLine& line)
{
    m_out << fmt::format("{} {:<7} {}{}\n", DateTimeText(line.utcSec), LevelWord(line.level),
                         line.fromHost ? "host: " : "", SafeText(line.text));
}

void CLineView::ShowChange(const Picture& picture, const PictureChange& change, std::int64_t utcSec)
{
    m_out << fmt::format("{} {:<7} {}\n", DateTimeText(utcSec), "change", DescribeChange(picture, change));
}

void CLineView::Update(const ViewState& state)
{
    if (state.complete)
    {
        std::string essence = Essence(state.picture);
        if (essence != m_shown)
        {
            m_shown = std::move(essence);
            m_out << DeviceText(state.picture);
        }
        std::string system = SystemText(state.picture);
        if (system != m_system)
        {
            m_system = std::move(system);
            m_out << m_system;
        }
    }
    m_out.flush();
}

bool CLineView::IsAlive() const
{
    return m_out.good();
}
} // namespace host
