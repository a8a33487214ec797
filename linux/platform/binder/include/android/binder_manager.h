#pragma once

#include <android/binder_ibinder.h>

// Finding services by instance name: 1 to 88 characters of letters, digits, '_', '-', '.' and '/'.
//
// Services of other processes are found under /dev/socket/binder, one unix socket each. The
// environment variable ANDROID_DEVICE_ROOT, read once, names a device root to look under, for a
// client that runs outside of it. Whoever may write to a socket may call.

extern "C" {

// Registers a local binder, which is then kept alive and can be called from other processes.
// EX_NONE, or: EX_ILLEGAL_ARGUMENT for a bad name or binder, EX_ILLEGAL_STATE when a living service
// has the name, EX_TRANSACTION_FAILED when the endpoint cannot be made (the reason is logged). The
// endpoint is removed when the process exits; one left behind by a killed process is replaced.
binder_exception_t AServiceManager_addService(AIBinder* binder, const char* instance);
// A new strong reference. Null when there is no such service now; and, after a line in the log that
// says which, when it turns this process away or does not answer within seconds.
AIBinder* AServiceManager_checkService(const char* instance);
// Waits until the service is there and admits this process, for as long as it takes; after a second
// the log says what it waits for. Null only for a bad name.
AIBinder* AServiceManager_waitForService(const char* instance);
// Whether the instance is meant to be there. Without a manifest on Linux: whether an endpoint is.
bool AServiceManager_isDeclared(const char* instance);
// Calls `callback` with the instance part ("default") of every declared instance of `interface`,
// in the order of their names. Declared means here: has an endpoint, living or left behind.
void AServiceManager_forEachDeclaredInstance(const char* interface, void* context,
                                             void (*callback)(const char* instance, void* context));

}  // extern "C"
