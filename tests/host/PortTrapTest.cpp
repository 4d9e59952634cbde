#include "host/PortTrap.h"

#include "host/SimTime.h"
#include "tests/support/CaseName.h"

#include <gmock/gmock.h>
#include <sys/io.h>
#include <sys/wait.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <latch>
#include <thread>

namespace
{
using namespace host;
using namespace std::chrono_literals;
using testing::ElementsAre;

// Answers each read with the port's low byte inverted.
class CEchoPorts final : public sim::CIoPorts
{
public:
    std::uint8_t In(std::uint16_t port, sim::SimTime /*now*/) noexcept override
    {
        errno = EBADF; // not to be seen by the code that reads the port
        return static_cast<std::uint8_t>(~port);
    }
    void Out(std::uint16_t /*port*/, std::uint8_t /*value*/, sim::SimTime /*now*/) noexcept override {}
    int SetPermission(std::uint16_t first, int /*count*/, bool /*on*/) noexcept override
    {
        return first == 0x4E ? EPERM : 0;
    }
};

// As a compiler leaves it: the whole register, of which the instruction changes the lowest byte.
std::uint32_t ReadByDx(std::uint16_t port)
{
    std::uint32_t eax = 0x11223344;
    asm volatile("inb %%dx, %%al" : "+a"(eax) : "d"(port));
    return eax;
}

bool Permit(unsigned long first, unsigned long count, bool on = true)
{
    return ioperm(first, count, on ? 1 : 0) == 0;
}

class PortTrap : public testing::Test
{
protected:
    PortTrap()
    {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
        simtime::UseManual(1'000'000'000s);
        TrapPorts(m_ports, m_trace, std::chrono::steady_clock::now());
    }
    ~PortTrap() override
    {
        ReleasePorts();
        simtime::UsePassThrough();
    }

    CEchoPorts m_ports;
    CPortTrace m_trace;
};

TEST_F(PortTrap, AnswersTheFourInstructionsAndLeavesTheRestOfTheMachineAlone)
{
    ASSERT_TRUE(Permit(0x2E, 2));
    ASSERT_TRUE(Permit(0x295, 2));
    errno = 0;
    std::uint8_t al = 0x5A;
    std::uint64_t flags = 0;
    simtime::Advance(1234ms);
    asm volatile("outb %%al, $0x2E" : : "a"(al));
    asm volatile("inb $0x2F, %%al" : "=a"(al));
    asm volatile("stc\n\toutb %%al, %%dx\n\tpushfq\n\tpopq %0"
                 : "=r"(flags)
                 : "a"(al), "d"(std::uint16_t{0x296})
                 : "cc");
    EXPECT_EQ(ReadByDx(0x295), 0x1122336AU);
    EXPECT_EQ(flags & 1, 1U);
    EXPECT_EQ(errno, 0);
    EXPECT_THAT(m_trace.Last(100),
                ElementsAre(PortAccess{1234ms, 0x2E, 0x5A, true}, PortAccess{1234ms, 0x2F, 0xD0, false},
                            PortAccess{1234ms, 0x296, 0xD0, true}, PortAccess{1234ms, 0x295, 0x6A, false}));
    EXPECT_EQ(TraceText(m_trace.Last(1)), "1.234 s  in  0295 6A\n");
}

TEST_F(PortTrap, RefusesAsTheKernelDoes)
{
    errno = 0;
    EXPECT_FALSE(Permit(0x4E, 2));
    EXPECT_EQ(errno, EPERM);
    for (const auto& [first, count] : {std::pair(0UL, 0UL), {65535UL, 2UL}, {0UL, 65537UL}, {~0UL, 2UL}})
    {
        errno = 0;
        EXPECT_FALSE(Permit(first, count));
        EXPECT_EQ(errno, EINVAL);
    }
    EXPECT_TRUE(Permit(65535, 1));
    EXPECT_EQ(ReadByDx(65535), 0x11223300U);
}

TEST_F(PortTrap, AThreadHasWhatItsCreatorHeldAndHandsItOn)
{
    ASSERT_TRUE(Permit(0x2E, 2));
    std::thread child([] { std::thread([] { EXPECT_EQ(ReadByDx(0x2E), 0x112233D1U); }).join(); });
    child.join();
}

// A sanitizer tells of the fault itself and ends the process by an exit.
bool DiedOfTheFault(int status)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return WIFEXITED(status) && WEXITSTATUS(status) != 0;
#else
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV;
#endif
}

struct FatalCase
{
    const char* name;
    void (*act)();
};

// What a process does not survive; each case begins with a thread that may use the ports 0x2E and 0x2F.
const auto kFatalCases = std::to_array<FatalCase>({
    {"PortNextToThePermittedOnes", [] { ReadByDx(0x30); }},
    {"PermissionGivenBack",
     []
     {
         Permit(0x2E, 1, false);
         ReadByDx(0x2E);
     }},
    {"PermissionTakenAfterTheThreadBegan",
     []
     {
         std::latch taken(1);
         std::thread older(
             [&taken]
             {
                 taken.wait();
                 ReadByDx(0x80);
             });
         Permit(0x80, 1);
         taken.count_down();
         older.join();
     }},
    {"PermissionOfAThreadThatIsNoAncestor",
     []
     {
         std::thread([] { Permit(0x80, 1); }).join();
         ReadByDx(0x80);
     }},
    {"WiderInstruction", [] { asm volatile("inl %%dx, %%eax"
                                           :
                                           : "d"(std::uint16_t{0x2E})
                                           : "eax"); }},
    {"NullPointer", [] { *static_cast<volatile int*>(nullptr) = 1; }},
    {"SignalSentBySomebody", [] { raise(SIGSEGV); }},
    {"PortsReleased",
     []
     {
         ReleasePorts();
         ReadByDx(0x2E);
     }},
});

class PortTrapFatal : public PortTrap, public testing::WithParamInterface<FatalCase>
{
};

TEST_P(PortTrapFatal, EndsTheProcess)
{
    const auto act = []
    {
        Permit(0x2E, 2);
        ReadByDx(0x2E); // would end it too early with another status
        GetParam().act();
        std::_Exit(0);
    };
    EXPECT_EXIT(act(), DiedOfTheFault, "");
}

INSTANTIATE_TEST_SUITE_P(Cases, PortTrapFatal, testing::ValuesIn(kFatalCases), kByName);

TEST(PortTrace, KeepsTheLastAccesses)
{
    CPortTrace trace;
    for (std::uint16_t at = 0; at < CPortTrace::kCapacity + 3; ++at)
    {
        trace.Note({sim::SimTime(at), at, 0xFF, at % 2 == 0});
    }
    const std::vector<PortAccess> accesses = trace.Last(CPortTrace::kCapacity + 1);
    ASSERT_EQ(accesses.size(), CPortTrace::kCapacity);
    EXPECT_EQ(accesses.front(), (PortAccess{3ms, 3, 0xFF, false}));
    EXPECT_EQ(accesses.back(), (PortAccess{16386ms, 16386, 0xFF, true}));
}
} // namespace
