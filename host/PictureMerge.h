// How a document changes the picture.
#pragma once

#include "host/Picture.h"

#include <cstdint>
#include <string>
#include <vector>

namespace host
{
enum class DocumentKind
{
    Config, // whole sections: each one present replaces what was known
    Status, // only what changed
};

enum class ChangeKind
{
    AlarmRaised,
    AlarmCleared,
    AlarmText, // an alarm that stands says something else
    DiskAdded,
    DiskGone,    // no longer listed
    DiskMissing, // listed, but not attached
    DiskBack,
    Prep,
    SelfTest,
    Volume, // a volume's state without alarm, a volume added or gone
};

struct PictureChange
{
    ChangeKind kind = ChangeKind::AlarmText;
    std::string subject; // name of the disk, volume, controller or sensor
    std::string text;
    std::int64_t utcSec = 0; // as the document says, 0 when it does not
};

// Merges one document and tells what a person would want to know about. Elements of other plug-ins and
// unknown elements are left out without error; a text that is no "zDVR" document changes nothing but the
// count of rejected ones.
std::vector<PictureChange> MergeDocument(Picture& picture, DocumentKind kind, const std::string& text);
} // namespace host
