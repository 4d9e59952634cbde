#include "bench/AtaReport.h"

#include <array>
#include <string_view>

namespace
{
// Prints JSON with one member or element on each line.
class CIndentedJson
{
public:
    CIndentedJson& Open(std::string_view name, char bracket)
    {
        Begin(name);
        m_text += bracket;
        m_closing += bracket == '{' ? '}' : ']';
        m_first = true;
        return *this;
    }

    CIndentedJson& Close()
    {
        const char bracket = m_closing.back();
        m_closing.pop_back();
        Break();
        m_text += bracket;
        m_first = false;
        return *this;
    }

    CIndentedJson& Text(std::string_view name, std::string_view value)
    {
        Begin(name);
        m_text.append("\"").append(value).append("\"");
        return *this;
    }

    CIndentedJson& Number(std::string_view name, long value)
    {
        Begin(name);
        m_text += std::to_string(value);
        return *this;
    }

    CIndentedJson& Flag(std::string_view name, bool value)
    {
        Begin(name);
        m_text += value ? "true" : "false";
        return *this;
    }

    [[nodiscard]] const std::string& Result() const { return m_text; }

private:
    void Break()
    {
        m_text += '\n';
        m_text.append(2 * m_closing.size(), ' ');
    }

    // An empty name stands for an array's element.
    void Begin(std::string_view name)
    {
        if (!m_first)
        {
            m_text += ',';
        }
        if (!m_closing.empty())
        {
            Break();
        }
        m_first = false;
        if (!name.empty())
        {
            m_text.append("\"").append(name).append("\": ");
        }
    }

    std::string m_text;
    std::string m_closing;
    bool m_first = true;
};

void AddIdentity(CIndentedJson& json)
{
    json.Open("json_format_version", '[').Number("", 1).Number("", 0).Close();
    json.Open("smartctl", '{');
    json.Open("version", '[').Number("", 7).Number("", 3).Close();
    json.Text("svn_revision", "5338")
        .Text("platform_info", "x86_64-linux-6.1.0")
        .Text("build_info", "(local build)");
    json.Open("argv", '[').Text("", "smartctl").Text("", "-j").Text("", "-T").Text("", "permissive");
    json.Text("", "-a").Text("", "/dev/sda").Close();
    json.Number("exit_status", 0).Close();
    json.Open("local_time", '{')
        .Number("time_t", 1767225600)
        .Text("asctime", "Thu Jan  1 00:00:00 2026 UTC")
        .Close();
    json.Open("device", '{').Text("name", "/dev/sda").Text("info_name", "/dev/sda [SAT]").Text("type", "sat");
    json.Text("protocol", "ATA").Close();
    json.Text("model_family", "Example SSDs")
        .Text("model_name", "EXAMPLE SSD 500GB")
        .Text("serial_number", "EX0123456789");
    json.Open("wwn", '{').Number("naa", 5).Number("oui", 1234).Number("id", 61234567890).Close();
    json.Text("firmware_version", "EX01B6Q");
    json.Open("user_capacity", '{').Number("blocks", 976773168).Number("bytes", 500107862016).Close();
    json.Number("logical_block_size", 512).Number("physical_block_size", 512).Number("rotation_rate", 0);
    json.Open("smart_status", '{').Flag("passed", true).Close();
}

void AddAttributes(CIndentedJson& json)
{
    struct Row
    {
        int id;
        std::string_view name;
        long raw;
    };
    static constexpr auto kRows = std::to_array<Row>({
        {5, "Reallocated_Sector_Ct", 0},
        {9, "Power_On_Hours", 14551},
        {12, "Power_Cycle_Count", 13},
        {177, "Wear_Leveling_Count", 32},
        {179, "Used_Rsvd_Blk_Cnt_Tot", 0},
        {181, "Program_Fail_Cnt_Total", 0},
        {182, "Erase_Fail_Count_Total", 0},
        {183, "Runtime_Bad_Block", 0},
        {187, "Reported_Uncorrect", 0},
        {190, "Airflow_Temperature_Cel", 36},
        {194, "Temperature_Celsius", 171799937},
        {199, "UDMA_CRC_Error_Count", 0},
        {235, "Unknown_Attribute", 4},
        {241, "Total_LBAs_Written", 64777770148},
    });
    json.Open("ata_smart_attributes", '{').Number("revision", 1).Open("table", '[');
    for (const Row& row : kRows)
    {
        json.Open("", '{')
            .Number("id", row.id)
            .Text("name", row.name)
            .Number("value", 99)
            .Number("worst", 98);
        json.Number("thresh", 10).Text("when_failed", "").Open("flags", '{').Number("value", 51);
        json.Text("string", "PO--CK ")
            .Flag("prefailure", true)
            .Flag("updated_online", true)
            .Flag("performance", false);
        json.Flag("error_rate", false).Flag("event_count", true).Flag("auto_keep", true).Close();
        json.Open("raw", '{')
            .Number("value", row.raw)
            .Text("string", std::to_string(row.raw))
            .Close()
            .Close();
    }
    json.Close().Close();
    json.Open("power_on_time", '{').Number("hours", 14551).Close().Number("power_cycle_count", 13);
    json.Open("temperature", '{')
        .Number("current", 36)
        .Number("power_cycle_min", 21)
        .Number("power_cycle_max", 46)
        .Close();
}

void AddLogDirectory(CIndentedJson& json)
{
    json.Open("ata_log_directory", '{').Number("gp_dir_version", 1).Open("table", '[');
    for (int address = 0; address < 48; ++address)
    {
        json.Open("", '{')
            .Number("address", address)
            .Text("name", "Device vendor specific log")
            .Flag("read", true);
        json.Flag("write", true).Number("gp_sectors", 16).Number("smart_sectors", 16).Close();
    }
    json.Close().Close();
}

void AddSelfTests(CIndentedJson& json)
{
    json.Open("ata_smart_self_test_log", '{').Open("extended", '{').Number("revision", 1).Open("table", '[');
    for (int test = 0; test < 19; ++test)
    {
        json.Open("", '{').Open("type", '{').Number("value", 1).Text("string", "Short offline").Close();
        json.Open("status", '{')
            .Number("value", 0)
            .Text("string", "Completed without error")
            .Flag("passed", true)
            .Close();
        json.Number("lifetime_hours", 14500 - 24L * test).Close();
    }
    json.Close().Number("count", 19).Number("error_count_total", 0).Close().Close();
}

void AddTemperatureHistory(CIndentedJson& json)
{
    json.Open("ata_sct_temperature_history", '{').Number("version", 2).Number("sampling_period_minutes", 10);
    json.Open("table", '[');
    for (int sample = 0; sample < 128; ++sample)
    {
        json.Number("", 30 + sample % 9);
    }
    json.Close().Close();
}

void AddStatistics(CIndentedJson& json)
{
    json.Open("ata_device_statistics", '{').Open("pages", '[');
    for (int page = 1; page <= 5; ++page)
    {
        json.Open("", '{').Number("number", page).Text("name", "General Statistics").Number("revision", 1);
        json.Open("table", '[');
        for (int entry = 1; entry <= 6; ++entry)
        {
            json.Open("", '{')
                .Number("offset", 8L * entry)
                .Text("name", "Number of Reported Errors")
                .Number("size", 4);
            json.Number("value", 1348861990L * entry)
                .Open("flags", '{')
                .Number("value", 192)
                .Text("string", "V--- ");
            json.Flag("valid", true).Flag("normalized", false).Flag("supports_dsn", false);
            json.Flag("monitored_condition_met", false).Close().Close();
        }
        json.Close().Close();
    }
    json.Close().Close();
}
} // namespace

std::string MakeAtaReport()
{
    CIndentedJson json;
    json.Open("", '{');
    AddIdentity(json);
    AddAttributes(json);
    AddLogDirectory(json);
    AddSelfTests(json);
    AddTemperatureHistory(json);
    AddStatistics(json);
    return json.Close().Result() + "\n";
}
