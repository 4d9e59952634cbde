// The chips seen from software that follows their register documents. How the plug-in gets on with them is
// shown in ChipPluginTest.cpp.
#include "sim/SimSuperIo.h"
#include "sim/SuperIoChips.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

namespace
{
using namespace std::chrono_literals;
using sim::Quantity;

// Programs a chip by hand, byte by byte.
class ChipPorts : public testing::Test
{
protected:
    void Fit(const char* name, int configPort = 0x2E)
    {
        m_chip = std::make_unique<sim::CSimSuperIo>(*sim::FindChip(name));
        m_configPort = configPort;
    }

    void Out(int port, int value)
    {
        m_chip->Out(static_cast<std::uint16_t>(port), static_cast<std::uint8_t>(value), m_now);
    }
    int In(int port) { return m_chip->In(static_cast<std::uint16_t>(port), m_now); }

    void Keys(const std::vector<int>& bytes)
    {
        std::for_each(bytes.begin(), bytes.end(), [this](int byte) { Out(m_configPort, byte); });
    }
    int Config(int reg)
    {
        Out(m_configPort, reg);
        return In(m_configPort + 1);
    }
    // {register, value} pairs, in order.
    void SetConfig(const std::vector<std::pair<int, int>>& registers)
    {
        for (const auto& [reg, value] : registers)
        {
            Keys({reg});
            Out(m_configPort + 1, value);
        }
    }
    int Id() { return Config(0x20) << 8 | Config(0x21); }

    // Monitor registers at base 0x290, bank in the high byte.
    int Monitor(int reg)
    {
        Point(reg);
        return In(0x296);
    }
    void SetMonitor(int reg, int value)
    {
        Point(reg);
        Out(0x296, value);
    }

    // A W83627DHG in configuration mode, its monitor running.
    void StartW83627()
    {
        Fit("w83627dhg");
        Keys({0x87, 0x87});
        SetConfig({{0x07, 0x0B}, {0x30, 0x01}});
        SetMonitor(0x040, 0x01);
    }

    // Its watchdog, counting `count` units.
    void StartWatchdog(int control, int count)
    {
        StartW83627();
        SetConfig({{0x07, 0x08}, {0x30, 0x01}, {0xF5, control}, {0xF6, count}});
    }

    // Whether it resets the appliance at `time`, and not one millisecond earlier.
    bool ResetsAt(sim::SimTime time)
    {
        m_chip->Tick(time - 1ms);
        const bool isEarly = m_chip->TakeReset();
        m_chip->Tick(time);
        return m_chip->TakeReset() && !isEarly;
    }

    std::unique_ptr<sim::CSimSuperIo> m_chip;
    int m_configPort = 0x2E;
    sim::SimTime m_now{0};

private:
    void Point(int reg)
    {
        Out(0x295, 0x4E);
        Out(0x296, reg >> 8);
        Out(0x295, reg & 0xFF);
    }
};

constexpr int kClosed = 0xFFFF;

TEST_F(ChipPorts, KeysOpenItOrNot)
{
    using Row = std::tuple<const char*, std::vector<int>, int>; // ID read then
    const std::vector<Row> rows{
        {"w83627dhg", {0x87, 0x87}, 0xA023},
        {"w83627dhg", {0x87}, kClosed},
        {"w83627dhg", {0x87, 0x01, 0x87}, kClosed},
        {"w83627dhg", {0x87, 0x87, 0xAA}, kClosed},
        {"w83627dhg", {0x87, 0x87, 0xAA, 0x87, 0x87}, 0xA023},
        {"w83627dhg", {0x87, 0x01, 0x55, 0x55}, kClosed}, // keys of the other maker
        {"it8772e", {0x87, 0x01, 0x55, 0x55}, 0x8772},
        {"it8772e", {0x87, 0x87, 0xAA, 0x87, 0x01, 0x55, 0x55}, 0x8772}, // after the other maker's
        {"it8772e", {0x87, 0x87, 0x01, 0x55, 0x55}, 0x8772},             // after a stray one
        {"it8772e", {0x87, 0x01, 0x55, 0x55, 0x02, 0x02}, kClosed},
        {"it8772e", {0x87, 0x87}, kClosed},
    };
    for (const auto& [chip, keys, id] : rows)
    {
        Fit(chip);
        Keys(keys);
        EXPECT_EQ(Id(), id) << chip << testing::PrintToString(keys);
    }
}

TEST_F(ChipPorts, IteIsAlsoClosedByItsRegister)
{
    Fit("it8728");
    Keys({0x87, 0x01, 0x55, 0x55});
    EXPECT_EQ(Config(0x02), 0); // reading the register closes nothing, nor does reading it twice
    EXPECT_EQ(Config(0x02), 0);
    EXPECT_EQ(Id(), 0x8728);
    SetConfig({{0x02, 0x02}});
    EXPECT_EQ(Id(), kClosed);
}

TEST_F(ChipPorts, ChipAtTheSecondPairIsNotAtTheFirst)
{
    Fit("f81966a", 0x2E);
    Keys({0x87, 0x87});
    EXPECT_EQ(Id(), kClosed);
    m_configPort = 0x4E;
    Keys({0x87, 0x87});
    EXPECT_EQ(Id(), 0x1502);
}

TEST_F(ChipPorts, IdIsReadOnlyAndDevicesHaveRegistersOfTheirOwn)
{
    Fit("w83627dhg");
    Keys({0x87, 0x87});
    SetConfig({{0x20, 0x00}});
    EXPECT_EQ(Id(), 0xA023);
    SetConfig({{0x07, 0x09}, {0xE0, 0x5A}, {0x2B, 0xC3}, {0x07, 0x0A}}); // 2B: a register of the chip
    EXPECT_EQ(Config(0xE0), 0);
    EXPECT_EQ(Config(0x2B), 0xC3);
    SetConfig({{0x07, 0x09}});
    EXPECT_EQ(Config(0xE0), 0x5A);
    SetConfig({{0x07, 0xFF}});
    EXPECT_EQ(Config(0xE0), 0xFF); // no such device
}

TEST_F(ChipPorts, MonitorAnswersWhenActiveUnlockedAndAtItsAddress)
{
    Fit("nct6791");
    EXPECT_EQ(In(0x295), 0xFF);
    Keys({0x87, 0x87});
    SetConfig({{0x28, 0x00}}); // the lock; the firmware has activated the device
    EXPECT_EQ(In(0x295), 0);
    EXPECT_EQ(Monitor(0x480), 0);
    SetMonitor(0x040, 0x01);
    EXPECT_EQ(Monitor(0x480), 1016 / 8);
    SetConfig({{0x07, 0x0B}, {0x61, 0x50}});
    EXPECT_EQ(Monitor(0x480), 0xFF);
    SetConfig({{0x61, 0x90}, {0x30, 0x00}});
    EXPECT_EQ(Monitor(0x480), 0xFF);
}

TEST_F(ChipPorts, TemperatureAlarmEndsBelowTheHysteresis)
{
    StartW83627();
    SetMonitor(0x039, 60);
    SetMonitor(0x03A, 55);
    const auto alarmAt = [this](int degrees)
    {
        m_chip->SetValue(Quantity::Temperature, 1, degrees, 0s, m_now);
        EXPECT_EQ(Monitor(0x027), degrees & 0xFF);
        return (Monitor(0x459) & 0x10) != 0;
    };
    EXPECT_FALSE(alarmAt(60));
    EXPECT_TRUE(alarmAt(61));
    EXPECT_TRUE(alarmAt(55));
    EXPECT_FALSE(alarmAt(54));
    EXPECT_FALSE(alarmAt(-20));
}

TEST_F(ChipPorts, StatusOfIteRemembersUntilItIsRead)
{
    Fit("it8728");
    Keys({0x87, 0x01, 0x55, 0x55});
    SetConfig({{0x07, 0x04}, {0x30, 0x01}});
    const auto monitor = [this](int reg)
    {
        Out(0xA35, reg);
        return In(0xA36);
    };
    const auto setMonitor = [this](int reg, int value)
    {
        Out(0xA35, reg);
        Out(0xA36, value);
    };
    setMonitor(0x00, 0x01);
    setMonitor(0x40, 70);
    setMonitor(0x41, 5);
    for (const int degrees : {71, 4})
    {
        m_chip->SetValue(Quantity::Temperature, 1, degrees, 0s, m_now);
        m_chip->SetValue(Quantity::Temperature, 1, 40, 0s, m_now);
        EXPECT_EQ(monitor(0x03), 0x01) << degrees;
        EXPECT_EQ(monitor(0x03), 0x00) << degrees;
    }
    // The tachometer of input 1 counts only once it is switched on.
    EXPECT_EQ(monitor(0x0D), 0);
    setMonitor(0x13, 0x10);
    EXPECT_EQ(monitor(0x18) << 8 | monitor(0x0D), 1'350'000 / 2 / 2'960);
}

TEST_F(ChipPorts, FanCountDependsOnTheDivisorAndIsFullWhenItStands)
{
    StartW83627();
    EXPECT_EQ(Monitor(0x028), 1'350'000 / 8 / 1'150);
    SetMonitor(0x047, 0x00);
    EXPECT_EQ(Monitor(0x028), 0xFF);
    SetMonitor(0x05D, 0x20);
    EXPECT_EQ(Monitor(0x028), 1'350'000 / 16 / 1'150);
    SetMonitor(0x03B, 200);
    EXPECT_EQ(Monitor(0x459) & 0x40, 0);
    m_chip->SetValue(Quantity::Fan, 1, 0, 0s, m_now);
    EXPECT_EQ(Monitor(0x028), 0xFF);
    EXPECT_EQ(Monitor(0x459) & 0x40, 0x40);
}

TEST_F(ChipPorts, ValuesMoveEvenlyAndAtRestWander)
{
    StartW83627();
    EXPECT_EQ(Monitor(0x027), 34);
    m_now = 16s;
    EXPECT_EQ(Monitor(0x027), 35);
    m_chip->SetValue(Quantity::Temperature, 1, 75, 10s, m_now);
    m_now = 21s;
    EXPECT_EQ(Monitor(0x027), 55);
    m_now = 27s;
    EXPECT_EQ(Monitor(0x027), 75);
    m_now = 90s;
    EXPECT_EQ(Monitor(0x027), 75);
    m_chip->SetValue(Quantity::Temperature, 1, 80, 0s, 91s); // by another thread, an instant later
    EXPECT_EQ(Monitor(0x027), 80);
}

TEST_F(ChipPorts, WatchdogCountsItsUnitAndResetsOnlyThroughItsOutput)
{
    StartWatchdog(0x02, 40);
    m_now = 30s;
    EXPECT_EQ(Config(0xF6), 10); // what is left
    EXPECT_EQ(m_chip->Watchdog(m_now).left, 10s);
    EXPECT_TRUE(ResetsAt(40s));
    StartWatchdog(0x0A, 2); // minutes
    m_now = 0s;
    EXPECT_EQ(m_chip->Watchdog(0s).timeoutSec, 120);
    StartWatchdog(0x00, 40); // no output
    EXPECT_FALSE(m_chip->Watchdog(m_now).isArmed);
    EXPECT_FALSE(ResetsAt(m_now + 40s));
    m_now += 41s;
    EXPECT_EQ(Config(0xF7), 0x10); // but it says so
    SetConfig({{0xF7, 0xFF}});
    EXPECT_EQ(Config(0xF7) & 0x10, 0x10);
    SetConfig({{0xF7, 0x00}, {0xF7, 0x10}}); // cannot be set by hand
    EXPECT_EQ(Config(0xF7), 0x00);
    EXPECT_EQ(m_chip->Watchdog(m_now).left, 0s);
}

TEST_F(ChipPorts, AfterAResetOnlyTheStatusIsLeft)
{
    StartWatchdog(0x02, 40);
    SetConfig({{0x07, 0x0A}, {0xF7, 0x04}});
    SetMonitor(0x02B, 0x80);
    m_now = 41s;
    EXPECT_TRUE(m_chip->Watchdog(m_now).resetCount == 1);
    SetConfig({{0x07, 0x08}, {0xF6, 40}}); // what still runs cannot arm it again
    EXPECT_FALSE(m_chip->Watchdog(m_now).isArmed);
    EXPECT_TRUE(m_chip->TakeReset());
    EXPECT_FALSE(m_chip->TakeReset());
    EXPECT_EQ(Id(), kClosed);
    Keys({0x87, 0x87});
    SetConfig({{0x07, 0x08}});
    EXPECT_EQ(Config(0xF5), 0x00);
    EXPECT_EQ(Config(0xF7), 0x10);
    SetConfig({{0x07, 0x0A}});
    EXPECT_EQ(Config(0xF7), 0x00);
    EXPECT_EQ(Config(0xF4), 0x04);
    SetConfig({{0xF4, 0x04}});
    EXPECT_EQ(Config(0xF4), 0x00);
    EXPECT_EQ(Monitor(0x02B), 0xFF); // not active
}

TEST_F(ChipPorts, Faults)
{
    StartWatchdog(0x02, 40);
    m_chip->SetFault(sim::ChipFault::Stuck, 0, true);
    EXPECT_EQ(Config(0x20), 0xA1);
    m_chip->SetFault(sim::ChipFault::Stuck, 7, false);
    EXPECT_EQ(Config(0x20), 0x20);
    m_chip->SetFault(sim::ChipFault::Random);
    int differing = 0;
    for (int at = 0; at < 20; ++at)
    {
        differing += Config(0x20) != 0xA0 ? 1 : 0;
    }
    EXPECT_GT(differing, 10);
    m_chip->SetFault(sim::ChipFault::Dead);
    EXPECT_EQ(Config(0x20), 0xFF);
    SetConfig({{0xF6, 0}}); // is lost, and the watchdog goes on
    m_chip->SetFault(sim::ChipFault::None);
    EXPECT_EQ(Id(), 0xA023);
    EXPECT_TRUE(ResetsAt(40s));
}

TEST_F(ChipPorts, RefusedPermissionsCanStillBeGivenBack)
{
    Fit("nct6776");
    EXPECT_EQ(m_chip->SetPermission(0x2E, 2, true), 0);
    m_chip->SetRefusal(true);
    EXPECT_EQ(m_chip->SetPermission(0x2E, 2, true), EPERM);
    EXPECT_EQ(m_chip->SetPermission(0x2E, 2, false), 0);
    EXPECT_EQ(m_chip->SetPermission(0xFFFF, 2, true), EINVAL);
}
} // namespace
