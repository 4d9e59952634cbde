// What stands on the terminal screen, as lines. Pure: the terminal itself is ScreenView's.
#pragma once

#include "host/View.h"

#include <deque>
#include <string>
#include <vector>

namespace host
{
struct ScreenSize
{
    std::size_t rows = 24;
    std::size_t columns = 80;
};

// At most `size.rows` lines of at most `size.columns` columns each, colours as SGR sequences that end with
// their line.
std::vector<std::string> ComposeScreen(const ViewState& state, const std::deque<ViewLine>& log,
                                       ScreenSize size);
} // namespace host
