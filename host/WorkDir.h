// Where the host and the plug-in keep their files.
#pragma once

#include <map>
#include <string>

namespace host
{
inline constexpr const char* kSocketName = "corvanehost.sock";

// A fresh private directory for a simulated appliance, and a link "latest" beside it. Empty with `error` set
// on failure: also when somebody else owns the place.
std::string MakeFreshWorkDir(std::string& error);

// Creates the directory if need be and makes it the working directory.
bool EnterWorkDir(const std::string& path, std::string& error);

// Writes the files, by relative name, that are not there yet.
bool WriteMissingFiles(const std::map<std::string, std::string>& files, std::string& error);

// Where a running host may be reached: the socket in the current directory, else that of the latest fresh
// directory.
std::string FindSocket();

// The plug-in library: beside the program, or where the build puts it. Empty when there is none.
std::string FindPlugin();
} // namespace host
