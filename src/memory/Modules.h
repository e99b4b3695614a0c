// The library's modules and their start/end steps. InitTerm runs them from the table in
// InitTerm.cpp, which is the one place that fixes their order. Each module defines its own step in
// its subsystem; a step takes true to start and false to end, and an end step must cope with a
// start step that never ran.
#ifndef QUARN_MEMORY_MODULES_H
#define QUARN_MEMORY_MODULES_H

namespace Quarn {
namespace detail {

void memoryModule(bool start);
void stringModule(bool start);
void localizerModule(bool start);
void encodersModule(bool start);
void errorsModule(bool start);
void timeModule(bool start);
void variantModule(bool start);

struct ModuleStep {
    const char* name;
    void (*step)(bool start); // null while the module is not part of this build
};

// The table in start order; the end sequence walks it from the bottom up.
const ModuleStep* getModuleTable(int& count);

// Observes every step that runs (null: none). For the lifetime tests.
void setModuleTrace(void (*trace)(const char* name, bool start));

} // namespace detail
} // namespace Quarn

#endif
