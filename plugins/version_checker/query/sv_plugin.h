// What the library does when a process loads it.
#ifndef PLUGINS_VERSION_CHECKER_QUERY_SV_PLUGIN_H_
#define PLUGINS_VERSION_CHECKER_QUERY_SV_PLUGIN_H_
inline constexpr unsigned long kReasonProcessAttach = 1;

// Creates the plug-in object, which registers itself and is the host's from then on. Every attach
// makes a new one. 1 when all is well, also for any other reason than process attach; 0 when there
// is no memory. Exceptions of the host pass to the caller. Runs under the loader's lock.
int ProcessAttach(unsigned long reason);

#endif  // PLUGINS_VERSION_CHECKER_QUERY_SV_PLUGIN_H_
