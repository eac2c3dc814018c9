#pragma once

// Mistakes that the simulation must find, or it proves nothing. They are compiled into its own copy of the library
// alone, and even there only the one that it was told to plant is active.

#ifdef VORN_SYNC_PLANTED_BUGS
bool vornIsPlanted(const char* name); // the simulation's; lists the names
#define VORN_PLANTED(name) vornIsPlanted(#name)
#else
#define VORN_PLANTED(name) false
#endif
