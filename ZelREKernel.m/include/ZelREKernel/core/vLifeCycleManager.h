#pragma once

// Starts services in the order of their registration and stops them in the reverse order. One that
// fails is named in the log and does not keep the others from starting. One that throws has failed;
// the exception goes no further.
//
// The manager owns its services, but only Finalize frees them: call TerminateModules, then
// Finalize. A copy lists the same services, so only one of a manager and its copies may be
// finalised.
//
// Nothing here locks: for the main thread, at start-up and shut-down.

#include <list>
#include <map>
#include <string>

#include "ZelREKernel/core/vLifeCycleModule.h"

namespace ZKL {

class ZELREKERNEL_EXPORT vLifeCycleManager {
public:
    vLifeCycleManager() = default;
    vLifeCycleManager(const vLifeCycleManager&) = default;
    vLifeCycleManager& operator=(const vLifeCycleManager&) = default;
    // Leaves the services alone.
    ~vLifeCycleManager() = default;

    // Appends a service made with plain `new` (no class-specific or over-aligned allocation) and
    // takes it over; `name` is for messages. O(log n). A null service, or one that is registered
    // already, is the caller's mistake: it is reported and nothing changes. Throws std::bad_alloc,
    // and has then registered nothing.
    void RegisterModule(vLifeCycleModule* module, const std::string& name);

    // Starts every service that does not run. False when one failed, each of which is logged; the
    // next call then tries those again. Does nothing once all have started. O(n log n).
    bool InitializeModules();
    // Stops every service that runs, last registered first. False when one failed; the next call
    // then tries those again. Does nothing before all have been started. O(n log n).
    bool TerminateModules();
    // Frees the services, in order of registration, and forgets them. Stops nothing.
    void Finalize();

private:
    struct Layout;

    bool initialized_ = false;
    std::list<vLifeCycleModule*> modules_;
    std::map<vLifeCycleModule*, std::string> names_;
    std::map<std::string, vLifeCycleModule*> modulesByName_;
};

}  // namespace ZKL
