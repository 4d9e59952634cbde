#include "tests/support/TempDir.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

CTempDir::CTempDir()
{
    std::string name = (std::filesystem::temp_directory_path() / "corvanepi-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr)
    {
        throw std::runtime_error("cannot create " + name);
    }
    m_path = name;
}

CTempDir::~CTempDir()
{
    std::error_code ignored; // a leftover directory does no harm
    std::filesystem::remove_all(m_path, ignored);
}

std::string CTempDir::Write(const std::string& name, std::string_view text) const
{
    const std::filesystem::path path = m_path / name;
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (!file.flush())
    {
        throw std::runtime_error("cannot write " + path.string());
    }
    return path.string();
}

std::optional<std::string> CTempDir::Read(const std::string& name) const
{
    std::ifstream file(m_path / name, std::ios::binary);
    if (!file)
    {
        return std::nullopt;
    }
    return std::string(std::istreambuf_iterator<char>(file), {});
}
