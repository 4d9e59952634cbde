// The host as plain lines, for pipes and files: log lines, alarms as they come and go, and the table when it
// has changed.
#pragma once

#include "host/View.h"

#include <iosfwd>
#include <string>

namespace host
{
class CLineView final : public CView
{
public:
    // `out` must outlive the view. It is flushed after every batch.
    explicit CLineView(std::ostream& out) : m_out(out) {}

    void ShowLine(const ViewLine& line) override;
    void ShowChange(const Picture& picture, const PictureChange& change, std::int64_t utcSec) override;
    void Update(const ViewState& state) override;
    [[nodiscard]] bool IsAlive() const override;

private:
    std::ostream& m_out;
    std::string m_shown;  // what the last table said, without the values that always move
    std::string m_system; // what was last said of modules, system and settings
};
} // namespace host
