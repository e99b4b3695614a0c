#include "memory/Modules.h"

#include <quarn/Root.h>

namespace Quarn {
namespace detail {
namespace {

// Start order; each later module may use every module above it.
const ModuleStep kModules[] = {
    {"memory", memoryModule},
    {"String", stringModule},
    {"Localizer", localizerModule},
    {"encoders", encodersModule},
    {"errors", errorsModule},
    {"time", timeModule},
    {"Variant", variantModule},
    {"live objects", nullptr},
    {"unit converter table", nullptr},
    {"unit values", nullptr},
};
constexpr int kModuleCount = sizeof(kModules) / sizeof(kModules[0]);

void (*moduleTrace)(const char*, bool) = nullptr;

void runStep(const ModuleStep& module, bool start) {
    if (!module.step) return;
    if (moduleTrace) moduleTrace(module.name, start);
    module.step(start);
}

// Independent once-only flags: exit() runs even when init() never did.
bool initDone = false;
bool exitDone = false;

} // namespace

const ModuleStep* getModuleTable(int& count) {
    count = kModuleCount;
    return kModules;
}

void setModuleTrace(void (*trace)(const char*, bool)) { moduleTrace = trace; }

} // namespace detail

void InitTerm::init() {
    if (detail::initDone) return;
    detail::initDone = true;
    for (const detail::ModuleStep& module : detail::kModules) detail::runStep(module, true);
}

void InitTerm::exit() {
    if (detail::exitDone) return;
    detail::exitDone = true;
    for (int i = detail::kModuleCount - 1; i >= 0; --i) detail::runStep(detail::kModules[i], false);
}

int32_t getVersion() { return (QUARN_VERSION_MAJOR << 16) | (QUARN_VERSION_MINOR << 8) | QUARN_VERSION_RELEASE; }

} // namespace Quarn
