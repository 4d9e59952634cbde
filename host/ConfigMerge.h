// The parts of the merge that PictureMerge is made of.
#pragma once

#include "host/PictureMerge.h"

#include <string>
#include <vector>

class TiXmlElement;

namespace host
{
// Replaces each section that the configuration or module document has.
void ApplyConfig(Picture& picture, const TiXmlElement& root, std::vector<PictureChange>& changes);

// The "Attribute" children of `parent`: known ones are updated, new ones added.
void ReadAttributes(DiskPicture& disk, const TiXmlElement& parent);
} // namespace host
