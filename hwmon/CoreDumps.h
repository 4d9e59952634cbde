// Core dumps of the host process, switched by a marker file in the working directory.
#pragma once

// Compares the marker file with the state last established and switches when they differ: runs the script,
// then sets the soft core-size limit. The first failure is logged and ends all further attempts. Called once
// a second, heartbeat thread only; blocks while the script runs.
class CCoreDumpSwitch
{
public:
    void UpdateCoreDumps();

private:
    bool Switch(bool enable);

    bool m_enabled = false;
    bool m_failed = false;
};
