// arcconf's answers as the tests use them, in the shapes of the real tool: banner, blank lines, closing
// sentence.
#pragma once

#include <string>

inline const std::string kArcDone = "\nCommand completed successfully.\n";

// A successful answer with this text in it.
inline std::string ArcAnswerText(const std::string& text)
{
    return "Controllers found: 1\n" + text + kArcDone;
}

inline std::string ArcDriveJson(const std::string& device, const std::string& connector, int slot,
                                const std::string& more)
{
    return R"({ "channelID": 0, "deviceID": )" + device + R"(, "connectorName": ")" + connector +
           R"(", "slotID": )" + std::to_string(slot) + R"(, "model": "EX HDD", "serialNumber": "D)" + device +
           R"(  ", "firmwareLevel": "B7")" + more + " }";
}

// The three answers about one controller: a mirror (0), a data volume (1) under rebuild, a spare, two free
// drives.
inline const std::string kArcConfigText = ArcAnswerText(
    R"({ "Controller": {
    "deviceName": "Example RAID 81-12i", "serialNumber": " 9A0001 ",
    "driverName": "exampledrv", "driverVersion": "2.1.20-035", "firmwareVersion": "3.21[0]",
    "Array": [
      { "arrayID": 0, "Chunk": [ { "logicalDriveID": 0, "channelID": 0, "deviceID": 8 },
                                 { "logicalDriveID": 0, "channelID": 0, "deviceID": 9 } ] },
      { "arrayID": 3, "Chunk": [ { "logicalDriveID": 1, "channelID": 0, "deviceID": 10 },
                                 { "logicalDriveID": 1, "channelID": 0, "deviceID": 11 } ] } ],
    "LogicalDrive": [
      { "logicalDriveID": 0, "raidLevel": 1, "name": "SYSTEM", "mountPoints": "/" },
      { "logicalDriveID": 1, "raidLevel": 5, "name": "DATA", "bTaskInProgress": true } ],
    "Channel": [ { "HardDrive": [)" +
    ArcDriveJson("9", "CN1", 1, "") + "," + ArcDriveJson("8", "CN1", 0, "") + "," +
    ArcDriveJson("10", "CN0", 2,
                 R"(, "size": "8001563222", "rotationalSpeed": 7200, "currentTemperature": 34,)"
                 R"( "mediumErrorCount": 3, "timeOutErrors": 0, "smartWarningCount": "1")") +
    "," + ArcDriveJson("11", "CN0", 3, "") + "," +
    ArcDriveJson("13", "CN0", 5, R"(, "assignedTo": [ "3" ])") + "," +
    ArcDriveJson("14", "CN0", 6, R"(, "size": "8001563222")") + R"(] }, { "HardDrive": [)" +
    ArcDriveJson("2", "CN1", 7, R"(, "size": "536870912")") + R"(] }, { "channelID": 2 } ] } })");

inline const std::string kArcListText = ArcAnswerText(
    R"(----------------------------------------------------------------------
   Logical 0                 : Optimal (1, Data, 228912 MB) SYSTEM
   Logical 1                 : Degraded, Rebuilding (5, Data, 15259648 MB) DATA
   Physical 0,9              : Online (SATA, 512 Bytes, 228936 MB) EX SSD
   Physical 0,10             : Online (SAS, 4K Bytes, 7814026 MB) EX HDD
   Physical 0,11             : Rebuilding (SAS, 4K Bytes, 7814026 MB) EX HDD
   Physical 0,13             : Dedicated Hot-Spare (SAS, 4K Bytes, 7814026 MB) EX HDD
   Physical 0,14             : Ready (SAS, 4K Bytes, 7814026 MB) EX HDD
   Physical 0,2              : Ready (SAS, 4K Bytes, 524288 MB) EX HDD)");

inline const std::string kArcTasksText = ArcAnswerText(R"(Logical device Task:
   Logical device                 : 1
   Task ID                        : 102
   Current operation              : Rebuild
   Status                         : In Progress
   Percentage complete            : 41)");

inline const std::string kArcSmartRow =
    R"(<Attribute id="0x05" name="Reallocated" normalizedCurrent="90" normalizedWorst="80" thresholdValue="5" rawValue="7" Status="OK" />)";

// The answer about SMART of drive 0:10, with the tool's second root behind it.
inline std::string ArcSmartText(const std::string& rows)
{
    return ArcAnswerText("\nSMART STATS FOR SATA:\n\n<SmartStats controllerID=\"0\">\n"
                         "<PhysicalDriveSmartStats channel=\"0\" id=\"10\" nonSpinning=\"false\" >\n" +
                         rows +
                         "\n</PhysicalDriveSmartStats>\n</SmartStats>\n\n\nSMART STATS FOR SAS:\n\n"
                         "<SASSmartStats controllerID=\"0\">\n</SASSmartStats>\n");
}

inline std::string Replaced(std::string text, const std::string& from, const std::string& to)
{
    return text.replace(text.find(from), from.size(), to);
}
