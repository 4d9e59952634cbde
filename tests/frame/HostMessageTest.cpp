#include "frame/HostMessage.h"

#include "frame/Log.h"
#include "frame/Xml.h"

#include <gtest/gtest.h>
#include <tinyxml.h>

#include <array>
#include <bit>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

namespace
{
struct Call
{
    std::array<unsigned char, 224> envelope{};
    std::string payload; // copied for messages with a length
    void* reserved = nullptr;
};

std::vector<Call> g_calls;
std::int32_t g_result = 0;

std::int32_t Keep(const HostMessage* message, void* reserved)
{
    Call call;
    std::memcpy(call.envelope.data(), message, call.envelope.size());
    if (message->length != 0)
    {
        call.payload.assign(std::bit_cast<const char*>(message->data), message->length);
    }
    call.reserved = reserved;
    g_calls.push_back(call);
    return g_result;
}

class HostMessageSend : public testing::Test
{
protected:
    HostMessageSend()
    {
        g_calls.clear();
        g_result = 0;
        SetHostCallback(Keep);
    }
    ~HostMessageSend() override { SetHostCallback(nullptr); }
};

template <typename T>
void Put(Call& call, std::size_t offset, T value)
{
    std::memcpy(call.envelope.data() + offset, &value, sizeof value);
}

template <typename T>
T Get(const Call& call, std::size_t offset)
{
    T value{};
    std::memcpy(&value, call.envelope.data() + offset, sizeof value);
    return value;
}

int g_hostBuffer = 0;
constexpr char kFrame[] = {'f', '\0', 'g'};

// The envelope of a message, with the payload's own length and address.
Call Expected(const Call& call, std::uint64_t source, std::uint64_t category, std::uint64_t type)
{
    Call expected;
    Put<std::uint32_t>(expected, 0, 224);
    Put<std::uint32_t>(expected, 4, 1);
    Put(expected, 8, static_cast<std::uint32_t>(call.payload.size()));
    Put(expected, 16, call.payload.empty() ? 0 : Get<std::uint64_t>(call, 16));
    Put(expected, 24, source);
    Put(expected, 40, category);
    Put(expected, 48, type);
    return expected;
}

struct SendCase
{
    const char* name;
    std::function<void()> send;
    std::uint64_t category;
    std::uint64_t type;
    std::string payload;
    const void* pointer = nullptr; // expected "data" of a message without payload
};

void SendSmallDocument(MessageCategory category)
{
    CXmlDocument document;
    AddChild(StartDocument(document), "Disk").SetAttribute("ID", kPluginElementId);
    SendDocument(document, category);
}

const std::string kSmallDocument = "<?xml ?><zDVR><Disk ID=\"3604480\" /></zDVR>";

const SendCase kSendCases[] = {
    {"Status", [] { SendSmallDocument(MessageCategory::StatusDocument); }, 4, 0x1000010, kSmallDocument,
     nullptr},
    {"Config", [] { SendSmallDocument(MessageCategory::ConfigDocument); }, 256, 0x1000010, kSmallDocument,
     nullptr},
    {"Heartbeat", [] { SendHeartbeat(); }, 32, 0x1000000, "", nullptr},
    {"Release", [] { ReleaseBuffer(&g_hostBuffer); }, 512, 0, "", &g_hostBuffer},
    {"IpcFrame", [] { SendIpcFrame(kFrame, sizeof kFrame); }, 8192, 0, std::string(kFrame, sizeof kFrame),
     nullptr},
};

// The whole envelope, so that a stray byte anywhere shows.
TEST_F(HostMessageSend, EnvelopesHaveTheseBytes)
{
    for (const SendCase& row : kSendCases)
    {
        SCOPED_TRACE(row.name);
        g_calls.clear();
        row.send();
        ASSERT_EQ(g_calls.size(), 1U);
        const Call& call = g_calls[0];
        EXPECT_EQ(call.payload, row.payload);
        EXPECT_EQ(call.reserved, nullptr);
        Call expected = Expected(call, 0x370000, row.category, row.type);
        if (row.pointer != nullptr)
        {
            Put(expected, 16, reinterpret_cast<std::uintptr_t>(row.pointer));
        }
        EXPECT_EQ(call.envelope, expected.envelope);
    }
}

TEST_F(HostMessageSend, LogQueryAndLogTextHaveTheseBytes)
{
    LogToHost(0x123456, Keep, LogWarning, "SENSORS: %d", 7);
    ASSERT_EQ(g_calls.size(), 2U);
    EXPECT_EQ(g_calls[0].payload, "");
    EXPECT_EQ(g_calls[0].envelope, Expected(g_calls[0], 0x123456, 64, 0x1000001).envelope);
    EXPECT_EQ(g_calls[1].payload, "SENSORS: 7");
    Call text = Expected(g_calls[1], 0x123456, 64, 0x1000002);
    Put<std::uint32_t>(text, 56, 168);
    Put<std::uint32_t>(text, 60, 1);
    Put<std::uint64_t>(text, 64, 50);
    EXPECT_EQ(g_calls[1].envelope, text.envelope);
}

TEST_F(HostMessageSend, FrameIsTakenOnlyWhenTheHostAnswersZero)
{
    EXPECT_TRUE(SendIpcFrame(kFrame, sizeof kFrame));
    g_result = 1;
    EXPECT_FALSE(SendIpcFrame(kFrame, sizeof kFrame));
    g_result = 0;
    SetHostCallback(nullptr);
    EXPECT_FALSE(SendIpcFrame(kFrame, sizeof kFrame));
    EXPECT_EQ(g_calls.size(), 2U);
}
} // namespace
