#pragma once

#include <android/binder_ibinder.h>

// Marks a local binder as usable across the system/vendor border. Here there is no border to
// enforce: the mark is taken and has no effect.
extern "C" void AIBinder_markVintfStability(AIBinder* binder);
