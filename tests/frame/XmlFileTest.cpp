#include "frame/XmlFile.h"

#include "frame/Xml.h"
#include "tests/support/TempDir.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <tinyxml.h>
#include <unistd.h>

#include <cstdio>
#include <future>
#include <thread>

namespace
{
void Fill(CXmlDocument& document, const std::string& version, int disks = 1)
{
    TiXmlElement& root = StartDocument(document);
    root.SetAttribute("Version", version);
    for (int i = 0; i < disks; ++i)
    {
        TiXmlElement& disk = AddChild(AddChild(root, "Storage"), "Disk");
        disk.SetAttribute("Serial", "W>1 '\xE9'");
    }
}

class XmlFile : public testing::Test
{
protected:
    // Saves a new document and returns its error text.
    std::string Save(const std::string& name, const std::string& version, int disks = 1)
    {
        CXmlDocument document;
        Fill(document, version, disks);
        const bool saved = SaveXmlFile(document, m_dir.File(name));
        EXPECT_EQ(saved, !document.HasError());
        EXPECT_EQ(document.ErrorId(), saved ? 0 : 2);
        return document.ErrorText();
    }

    // The version in the file, or the error.
    std::string Load(const std::string& name)
    {
        CXmlDocument document;
        return LoadXmlFile(document, m_dir.File(name))
                   ? TextAttribute(*document.Root("zDVR"), "Version").value_or("none")
                   : "error " + std::to_string(document.ErrorId());
    }

    const CTempDir m_dir;
};

TEST_F(XmlFile, SaveReplacesTheFile)
{
    EXPECT_EQ(Save("a.xml", "1"), "");
    EXPECT_EQ(Save("a.xml", "2"), "");
    EXPECT_EQ(m_dir.Read("a.xml"), "<?xml ?>\n"
                                   "<zDVR Version=\"2\">\n"
                                   "    <Storage>\n"
                                   "        <Disk Serial=\"W&gt;1 &apos;\xE9&apos;\" />\n"
                                   "    </Storage>\n"
                                   "</zDVR>\n");
    EXPECT_FALSE(m_dir.Exists("a.xml.pending"));
    EXPECT_EQ(Load("a.xml"), "2");
}

TEST_F(XmlFile, MissingDirectory)
{
    EXPECT_EQ(Save("none/a.xml", "1"), "create error 2 - No such file or directory");
    EXPECT_FALSE(m_dir.Exists("none"));
    EXPECT_EQ(Load("none/a.xml"), "error 2");
}

// A small document fails when the buffer is flushed, a large one already when it is written.
TEST_F(XmlFile, FullDiskKeepsTheOldFile)
{
    ASSERT_EQ(Save("a.xml", "old"), "");
    for (const int disks : {1, 5000})
    {
        ASSERT_EQ(symlink("/dev/full", m_dir.File("a.xml.pending").c_str()), 0);
        EXPECT_EQ(Save("a.xml", "new", disks), "write error 28 - No space left on device");
        EXPECT_FALSE(std::filesystem::is_symlink(m_dir.File("a.xml.pending")));
        EXPECT_EQ(Load("a.xml"), "old");
    }
}

TEST_F(XmlFile, FailedRenameIsReported)
{
    std::filesystem::create_directory(m_dir.File("a.xml"));
    EXPECT_EQ(Save("a.xml", "1"), "Failed to rename .xml.pending to .xml file 21 - Is a directory");
}

// The pending file is a pipe whose reader removes the name before it lets the writer go on.
TEST_F(XmlFile, PendingFileTakenAwayIsNoError)
{
    ASSERT_EQ(Save("a.xml", "old"), "");
    const std::string pending = m_dir.File("a.xml.pending");
    ASSERT_EQ(mkfifo(pending.c_str(), 0600), 0);
    std::thread reader(
        [&pending]
        {
            const int pipe = open(pending.c_str(), O_RDONLY);
            unlink(pending.c_str());
            char buffer[4096];
            while (read(pipe, buffer, sizeof buffer) > 0)
            {
            }
            close(pipe);
        });
    EXPECT_EQ(Save("a.xml", "new", 5000), ""); // more than a pipe holds
    reader.join();
    EXPECT_EQ(Load("a.xml"), "old");
}

TEST_F(XmlFile, CompletePendingFileFinishesTheSave)
{
    ASSERT_EQ(Save("a.xml", "old"), "");
    m_dir.Write("a.xml.pending", "\xEF\xBB\xBF<zDVR Version='new'>\r\n<!-- c -->\r</zDVR>");
    EXPECT_EQ(Load("a.xml"), "new");
    EXPECT_FALSE(m_dir.Exists("a.xml.pending"));
    EXPECT_EQ(Load("a.xml"), "new");
}

// A power loss may leave any part of the file, and some parts are no error to TinyXML.
TEST_F(XmlFile, NoPartOfAPendingFileReplacesTheGoodOne)
{
    ASSERT_EQ(Save("new.xml", "new"), "");
    const std::string whole = *m_dir.Read("new.xml");
    ASSERT_TRUE(whole.ends_with("</zDVR>\n"));
    ASSERT_EQ(Save("a.xml", "old"), "");
    for (std::size_t length = 0; length < whole.size() - 1; ++length)
    {
        m_dir.Write("a.xml.pending", whole.substr(0, length));
        EXPECT_EQ(Load("a.xml"), "old") << length;
        m_dir.Write("alone.xml.pending", whole.substr(0, length));
        EXPECT_EQ(Load("alone.xml"), "error 2") << length << ", that of the second attempt";
        EXPECT_TRUE(m_dir.Exists("alone.xml.pending"));
    }
    m_dir.Write("a.xml.pending", whole.substr(0, whole.size() - 1));
    EXPECT_EQ(Load("a.xml"), "new");
}

TEST_F(XmlFile, LineEndsBecomeLineFeeds)
{
    m_dir.Write("a.xml", "<zDVR Version='a\r\nb\rc\n\rd\xE9'/>");
    EXPECT_EQ(Load("a.xml"), "a\nb\nc\n\nd\xE9");
}

// The first save hangs in its pipe while the second one begins: the second must not write into the same
// pending file.
TEST_F(XmlFile, SecondSaveWaitsForTheFirst)
{
    const std::string pending = m_dir.File("a.xml.pending");
    ASSERT_EQ(mkfifo(pending.c_str(), 0600), 0);
    std::thread first([this] { EXPECT_EQ(Save("a.xml", "1", 5000), ""); });
    const int pipe = open(pending.c_str(), O_RDONLY); // opens when the first save has
    std::promise<void> begun;
    std::thread second(
        [this, &begun]
        {
            begun.set_value();
            EXPECT_EQ(Save("a.xml", "2"), "");
        });
    begun.get_future().wait();
    std::string text;
    char buffer[16]; // slow, so that a second save that does not wait gets its chance
    for (ssize_t got = 0; (got = read(pipe, buffer, sizeof buffer)) > 0;)
    {
        text.append(buffer, static_cast<std::size_t>(got));
    }
    close(pipe);
    first.join();
    second.join();
    CXmlDocument written;
    Fill(written, "1", 5000);
    EXPECT_TRUE(text == PrintIndented(written)) << text.size(); // too long to print
    EXPECT_EQ(Load("a.xml"), "2");
}
} // namespace
