#include "shell/Log.h"

CLog::CLog() : path("./"), name("err.log") {}

CLog::~CLog() = default;

CLog cLog;
