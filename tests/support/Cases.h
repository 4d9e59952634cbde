// Fixtures of tests over a table.
#pragma once

#include "tests/support/CaseName.h"

#include <gtest/gtest.h>

// The fixture of such a test, GetParam() being its row.
template <class Fixture, class Case>
class WithCases : public Fixture, public testing::WithParamInterface<Case>
{
};
