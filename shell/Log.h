// Where the plug-in's log would go. The object only records a directory and a
// file name; nothing is ever opened or written, so loading the plug-in never
// touches the file system for logging.
#pragma once

#include <string>

class CLog {
public:
    CLog();
    virtual ~CLog();

    std::string path; // log directory, "./"
    std::string name; // log file name, "err.log"
};

// The process-wide log location, built by static initialisation.
extern CLog cLog;
