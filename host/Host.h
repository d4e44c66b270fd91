/* The reference host: loads an effect plug-in (a shared library exporting
   EntryPointFunc) and plays the compositing host's side of every command for
   real. One header for users that want all of it; each type has its own:
   Plugin.h, World.h, Session.h, Records.h, AddedParam.h, HostFaults.h,
   HostMode.h and Names.h. */
#pragma once

#include "host/AddedParam.h"
#include "host/HostFaults.h"
#include "host/HostMode.h"
#include "host/Names.h"
#include "host/Plugin.h"
#include "host/Records.h"
#include "host/Session.h"
#include "host/World.h"
