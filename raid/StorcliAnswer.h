// What the answers of all storcli commands have in common: the envelope around their data, and the small text
// forms inside them. The forms are read by hand: a listing holds thousands of them.
#pragma once

#include "storage/Json.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

struct StorcliAnswer
{
    CJsonDocument document;
    std::string error = {};
    CJsonValue responseData = {}; // an object, or absent; good as long as `document` lives
};

// Parses the answer and judges it: "Success", and with `needResponseData` an object of data.
StorcliAnswer CheckStorcliResponse(int exitCode, std::string_view output, bool needResponseData);

// Takes the expected characters off the front of a text, step by step; once one step has failed, all fail.
class CTextReader
{
public:
    explicit CTextReader(std::string_view text) : m_text(text) {}

    // Exactly these characters.
    CTextReader& Word(std::string_view word);

    // One or more decimal digits, kept in `digits`.
    CTextReader& Digits(std::string_view& digits);

    // At least one blank.
    CTextReader& Blanks();

    [[nodiscard]] bool AtEnd() const { return m_good && m_text.empty(); }

private:
    std::string_view m_text;
    bool m_good = true;
};

// The whole text as a decimal number without a sign; absent when it is none or does not fit.
std::optional<std::int32_t> DecimalNumber(std::string_view text);

// "1.818 TB", "465.25 GB": whole GB, cut off. Absent for any other form or unit, or when it does not fit.
std::optional<std::int32_t> SizeInGB(std::string_view text);

// The decimal integer at the start of " 34C (93.20 F)", leading blanks skipped; absent when there is none.
std::optional<std::int32_t> LeadingInteger(std::string_view text);

// The decimal number at the start of "6.0Gb/s", leading blanks skipped; -1 when there is none.
double LeadingNumber(std::string_view text);

// Whether the member is a text other than "No". An absent member is not.
bool IsNotNo(CJsonValue member);

// "252:3", both parts decimal.
struct EnclosureSlot
{
    std::string_view enclosure;
    std::string_view slot;
};
std::optional<EnclosureSlot> ReadEnclosureSlot(std::string_view text);

// The path in `prefix` and "/c0/e252/s3" (any numbers), which must be the whole text; absent otherwise.
std::optional<std::string_view> DrivePath(std::string_view text, std::string_view prefix);
