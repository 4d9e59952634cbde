// Directories of a test: made empty, removed with everything in them.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

// A new directory, removed on destruction. Operations throw what std::filesystem throws, or
// std::runtime_error.
class CTempDir
{
public:
    CTempDir();
    ~CTempDir();
    CTempDir(const CTempDir&) = delete;
    CTempDir& operator=(const CTempDir&) = delete;

    [[nodiscard]] const std::filesystem::path& Path() const { return m_path; }

    // Absolute name of something inside; `name` may contain directories.
    [[nodiscard]] std::string File(const std::string& name) const { return (m_path / name).string(); }

    // Creates the directories on the way. Returns the absolute name.
    std::string Write(const std::string& name, std::string_view text) const;

    // Absent when there is no such file.
    [[nodiscard]] std::optional<std::string> Read(const std::string& name) const;
    [[nodiscard]] bool Exists(const std::string& name) const
    {
        return std::filesystem::exists(m_path / name);
    }

private:
    std::filesystem::path m_path;
};

// Changes the working directory (of the whole process) for the length of a scope.
class CWorkingDirectory
{
public:
    explicit CWorkingDirectory(const std::filesystem::path& path) : m_before(std::filesystem::current_path())
    {
        std::filesystem::current_path(path);
    }
    ~CWorkingDirectory() { std::filesystem::current_path(m_before); }
    CWorkingDirectory(const CWorkingDirectory&) = delete;
    CWorkingDirectory& operator=(const CWorkingDirectory&) = delete;

private:
    std::filesystem::path m_before;
};
