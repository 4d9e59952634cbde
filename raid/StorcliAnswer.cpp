#include "raid/StorcliAnswer.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace
{
bool IsDigit(char character)
{
    return character >= '0' && character <= '9';
}

std::string_view SkipBlanks(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string_view::npos ? std::string_view() : text.substr(first);
}

// Digits with at most one "." between them at the front of the text.
std::optional<double> DecimalFraction(std::string_view text)
{
    double value = 0;
    const auto result =
        std::from_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed);
    return result.ec == std::errc{} ? std::optional(value) : std::nullopt;
}
} // namespace

StorcliAnswer CheckStorcliResponse(int exitCode, std::string_view output, bool needResponseData)
{
    StorcliAnswer answer{.document = CJsonDocument(output)};
    const CJsonValue root = answer.document.Root();
    if (!root.Exists())
    {
        answer.error = exitCode != 0 ? "storcli error " + std::to_string(exitCode) : "storcli invalid json";
        return answer;
    }
    const CJsonElements controllers = root.Member("Controllers").Elements();
    if (!(controllers.begin() != controllers.end()))
    {
        answer.error = "storcli missing controller";
        return answer;
    }
    const CJsonValue controller = *controllers.begin();
    const auto status = controller.Find("Command Status.Status").String();
    const CJsonValue data = controller.Member("Response Data");
    if (!status)
    {
        answer.error = "storcli missing exitcode";
    }
    else if (*status != "Success")
    {
        answer.error.append("storcli error ").append(*status);
    }
    else if (data.IsObject())
    {
        answer.responseData = data;
    }
    else if (needResponseData)
    {
        answer.error = "storcli missing response data";
    }
    return answer;
}

CTextReader& CTextReader::Word(std::string_view word)
{
    m_good = m_good && m_text.substr(0, word.size()) == word;
    m_text.remove_prefix(m_good ? word.size() : 0);
    return *this;
}

CTextReader& CTextReader::Digits(std::string_view& digits)
{
    std::size_t count = 0;
    while (count < m_text.size() && IsDigit(m_text[count]))
    {
        ++count;
    }
    m_good = m_good && count > 0;
    digits = m_text.substr(0, count);
    m_text.remove_prefix(count);
    return *this;
}

CTextReader& CTextReader::Blanks()
{
    const std::string_view rest = SkipBlanks(m_text);
    m_good = m_good && rest.size() < m_text.size();
    m_text = rest;
    return *this;
}

std::optional<std::int32_t> DecimalNumber(std::string_view text)
{
    std::string_view digits;
    if (!CTextReader(text).Digits(digits).AtEnd())
    {
        return {};
    }
    return LeadingInteger(digits);
}

std::optional<std::int32_t> SizeInGB(std::string_view text)
{
    std::string_view whole;
    std::string_view fraction;
    const auto hasUnit = [&](std::string_view unit)
    { return CTextReader(text).Digits(whole).Word(".").Digits(fraction).Blanks().Word(unit).AtEnd(); };
    constexpr double kGBPerTB = 1024;
    const bool inTB = hasUnit("TB");
    if (!inTB && !hasUnit("GB"))
    {
        return {};
    }
    const auto value = DecimalFraction(text);
    const double sizeGB = std::trunc(value.value_or(-1) * (inTB ? kGBPerTB : 1));
    if (!(sizeGB >= 0 && sizeGB <= std::numeric_limits<std::int32_t>::max()))
    {
        return {};
    }
    return static_cast<std::int32_t>(sizeGB);
}

std::optional<std::int32_t> LeadingInteger(std::string_view text)
{
    text = SkipBlanks(text);
    std::int32_t value = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc{} ? std::optional(value) : std::nullopt;
}

double LeadingNumber(std::string_view text)
{
    text = SkipBlanks(text);
    return !text.empty() && IsDigit(text.front()) ? DecimalFraction(text).value_or(-1.0) : -1.0;
}

bool IsNotNo(CJsonValue member)
{
    const auto text = member.String();
    return text && *text != "No";
}

std::optional<EnclosureSlot> ReadEnclosureSlot(std::string_view text)
{
    EnclosureSlot result;
    const bool good = CTextReader(text).Digits(result.enclosure).Word(":").Digits(result.slot).AtEnd();
    return good ? std::optional(result) : std::nullopt;
}

std::optional<std::string_view> DrivePath(std::string_view text, std::string_view prefix)
{
    std::string_view number;
    const bool good = CTextReader(text)
                          .Word(prefix)
                          .Word("/c")
                          .Digits(number)
                          .Word("/e")
                          .Digits(number)
                          .Word("/s")
                          .Digits(number)
                          .AtEnd();
    return good ? std::optional(text.substr(prefix.size())) : std::nullopt;
}
