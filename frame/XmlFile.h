// The files the plug-in keeps: saved so that a power loss leaves either the old or the new content, never
// half of one.
#pragma once

#include <string>

class CXmlDocument;

// Prints the document, writes it to `name`.pending, flushes it to the disk and renames it to `name`. On
// failure the old file is untouched and the document carries error id 2 with the reason; no .pending file is
// left, except a complete one that could not be renamed. Saves and loads of one name exclude each other (a
// spin; any thread).
bool SaveXmlFile(CXmlDocument& document, const std::string& name);

// Loads `name`.pending if it is complete, and finishes that interrupted save; otherwise `name`. True only
// when the file parsed without error and has a root element. The document's error is that of the last
// attempt.
bool LoadXmlFile(CXmlDocument& document, const std::string& name);
