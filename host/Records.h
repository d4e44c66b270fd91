/* What the effect did through the host, kept so that callers (tests, the glfx
   command) can look at it afterwards. The lists keep the most recent entries
   only, so that a session that renders for hours stays the same size. */
#pragma once

#include "sdk/AE_Effect.h"
#include "sdk/AE_EffectCB.h"
#include "sdk/AE_GeneralPlug.h"
#include "sdk/PrSDKPixelFormat.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace glfxhost {

struct CommandRecord {
    PF_Cmd cmd;
    PF_Err err;
    PF_OutFlags outFlags;
    PF_OutFlags2 outFlags2;
    std::string returnMsg;
};

struct ParamCheckout {
    PF_ParamIndex index;
    A_long time;
    A_long timeStep;
    A_u_long timeScale;
    PF_Cmd during; // command that was running
};

struct LayerCheckout {
    PF_ParamIndex index;
    A_long checkoutId;
    A_long time;
    A_long timeStep;
    A_u_long timeScale;
};

struct UIUpdate {
    PF_ParamIndex index;
    PF_ParamUIFlags uiFlags;
    std::string name;
};

struct StreamFlagSet {
    PF_ParamIndex index;
    AEGP_DynStreamFlags flag;
    bool set;
};

struct StreamRename {
    PF_ParamIndex index;
    std::string name;
};

/* A list of records that keeps recent entries only. With a limit of N it
   holds between N and 2 × N of the most recent entries once more than 2 × N
   were added (the older half goes in one step, so adding stays cheap), and
   none with a limit of 0. total() counts every entry ever added. Reads as the
   vector it is. */
template <class T>
class RecordList : public std::vector<T> {
public:
    void add(T entry, size_t limit)
    {
        ++total_;
        if (limit == 0)
            return;
        if (this->size() >= 2 * limit)
            this->erase(this->begin(), this->begin() + static_cast<std::ptrdiff_t>(this->size() - limit + 1));
        this->push_back(std::move(entry));
    }
    uint64_t total() const { return total_; }

private:
    uint64_t total_ = 0;
};

/* Owned by the Session, which adds to it while the effect calls; cleared by
   Session::clearRecords. The maps hold one entry per parameter at most. */
struct Records {
    /* Entries each list keeps by default (see RecordList); a Session can
       change it with setRecordLimit. */
    static constexpr size_t kDefaultLimit = 4096;
    size_t limit = kDefaultLimit;

    template <class T, class U>
    void add(RecordList<T>& list, U&& entry)
    {
        list.add(T(std::forward<U>(entry)), limit);
    }

    RecordList<CommandRecord> commands;
    // Global setup answers.
    A_u_long version = 0;
    PF_OutFlags outFlags = 0;
    PF_OutFlags2 outFlags2 = 0;
    A_long numParams = -1; // out_data->num_params of PARAMS_SETUP
    A_long flatSize = 0;   // out_data->flat_sdata_size last reported
    // Pixel format suite.
    int formatClears = 0;
    RecordList<PrPixelFormat> supportedFormats; // since the last clear
    // AEGP.
    RecordList<std::string> registeredNames; // AEGP_RegisterWithAEGP names
    RecordList<std::string> scripts;         // every AEGP_ExecuteScript text
    RecordList<std::string> alerts;          // message texts of alert() calls
    RecordList<StreamFlagSet> streamFlagSets;
    std::map<int, bool> hidden; // last HIDDEN state per index
    RecordList<StreamRename> streamRenames;
    std::map<int, std::string> streamNames; // last name per index
    // Param utils.
    RecordList<UIUpdate> uiUpdates;
    std::map<int, PF_ParamUIFlags> uiFlags; // last ui_flags per index
    // Checkouts.
    RecordList<ParamCheckout> paramCheckouts;
    RecordList<LayerCheckout> layerCheckouts;
    long long paramCheckins = 0;
    // Suites: name -> number of AcquireSuite successes / ReleaseSuite calls.
    std::map<std::string, int> suiteAcquires;
    std::map<std::string, int> suiteReleases;
    RecordList<std::string> suiteMisses; // "name v<version>" not offered
    // Callback misuse seen (bad handle, bad index, unterminated name, ...).
    RecordList<std::string> problems;
};

} // namespace glfxhost
