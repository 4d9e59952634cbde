#include "host/ScreenView.h"

#include "host/PictureText.h"
#include "host/RealTime.h"

namespace host
{
namespace
{
constexpr std::chrono::milliseconds kDrawEvery{200};
constexpr std::size_t kLogKept = 300;
} // namespace

void CScreenView::ShowLine(const ViewLine& line)
{
    m_log.push_back(line);
    if (m_log.size() > kLogKept)
    {
        m_log.pop_front();
    }
}

void CScreenView::ShowChange(const Picture& picture, const PictureChange& change, std::int64_t utcSec)
{
    const bool alarm = change.kind == ChangeKind::AlarmRaised || change.kind == ChangeKind::AlarmText;
    ShowLine({utcSec, alarm ? kLevelError : kLevelInfo, true, DescribeChange(picture, change)});
}

void CScreenView::Update(const ViewState& state)
{
    const auto now = RealNow();
    if (now - m_drawnAt < kDrawEvery)
    {
        return;
    }
    m_drawnAt = now;
    const ScreenSize size = m_terminal.Size();
    const std::vector<std::string> lines = ComposeScreen(state, m_log, size);
    std::string screen = "\x1b[H";
    bool first = true;
    for (const std::string& line : lines)
    {
        // Erased before, not behind: after a full line the cursor still stands on its last character.
        screen += (first ? "\x1b[2K" : "\r\n\x1b[2K") + line;
        first = false;
    }
    screen += lines.size() < size.rows ? "\r\n\x1b[J" : "";
    if (screen != m_drawn)
    {
        m_alive = m_terminal.Write(screen);
        m_drawn = std::move(screen);
    }
}

void CScreenView::Resize()
{
    m_drawn.clear();
    m_drawnAt = {};
}

void CScreenView::Suspend()
{
    m_terminal.Leave();
}

void CScreenView::Resume()
{
    m_terminal.Enter();
    Resize();
}
} // namespace host
