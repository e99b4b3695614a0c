// The shared library starts and ends itself as it is loaded into and unloaded from a process.
#include <quarn/Root.h>

namespace {

__attribute__((constructor)) void quarnLibraryLoaded() { Quarn::InitTerm::init(); }

__attribute__((destructor)) void quarnLibraryUnloaded() { Quarn::InitTerm::exit(); }

} // namespace
