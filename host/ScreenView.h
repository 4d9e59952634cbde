// The host as a screen on the terminal that is drawn anew as things change.
#pragma once

#include "host/Screen.h"
#include "host/Terminal.h"
#include "host/View.h"

#include <chrono>
#include <deque>
#include <string>

namespace host
{
class CScreenView final : public CView
{
public:
    explicit CScreenView(int terminalFd) : m_terminal(terminalFd) {}

    void ShowLine(const ViewLine& line) override;
    void ShowChange(const Picture& picture, const PictureChange& change, std::int64_t utcSec) override;

    // Draws at most five times a second.
    void Update(const ViewState& state) override;
    void Resize() override;
    void Suspend() override;
    void Resume() override;
    [[nodiscard]] bool IsAlive() const override { return m_alive; }

private:
    CTerminal m_terminal;
    std::deque<ViewLine> m_log;
    std::string m_drawn; // the screen as it stands
    std::chrono::milliseconds m_drawnAt{0};
    bool m_alive = true;
};
} // namespace host
