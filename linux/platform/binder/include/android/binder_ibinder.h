#pragma once

#include <android/binder_status.h>
#include <sys/types.h>

#include <cstdint>

// Binder objects: local ones, which hold a service object of this process, and proxies, which stand
// for a service of another one. All functions may be called from any thread. Functions that take an
// AIBinder leave the caller's reference alone unless they say otherwise.

extern "C" {

struct AParcel;
struct AIBinder;
struct AIBinder_Class;
struct AIBinder_Weak;
struct AIBinder_DeathRecipient;

using transaction_code_t = uint32_t;
using binder_flags_t = uint32_t;

enum : transaction_code_t {
    FIRST_CALL_TRANSACTION = 0x00000001,
    LAST_CALL_TRANSACTION = 0x00ffffff,
};

// A class says how the local objects of one interface are made, unmade and entered.
// onCreate turns the argument of AIBinder_new into the object's user data; onDestroy releases it.
using AIBinder_Class_onCreate = void* (*)(void* args);
using AIBinder_Class_onDestroy = void (*)(void* userData);
// Answers one call: reads the arguments from `in`, writes the reply into `out`. Both belong to the
// caller of this function.
using AIBinder_Class_onTransact = binder_status_t (*)(AIBinder* binder, transaction_code_t code,
                                                      const AParcel* in, AParcel* out);

// `interfaceDescriptor` is copied. Classes live as long as the process.
AIBinder_Class* AIBinder_Class_define(const char* interfaceDescriptor,
                                      AIBinder_Class_onCreate onCreate,
                                      AIBinder_Class_onDestroy onDestroy,
                                      AIBinder_Class_onTransact onTransact);
const char* AIBinder_Class_getDescriptor(const AIBinder_Class* clazz);

// A new local object with one strong reference, which the caller owns.
AIBinder* AIBinder_new(const AIBinder_Class* clazz, void* args);
void AIBinder_incStrong(AIBinder* binder);
void AIBinder_decStrong(AIBinder* binder);
// The user data of a local object; null for a proxy.
void* AIBinder_getUserData(AIBinder* binder);

AIBinder_Weak* AIBinder_Weak_new(AIBinder* binder);
void AIBinder_Weak_delete(AIBinder_Weak* weak);
// A new strong reference, or null once the object is gone.
AIBinder* AIBinder_Weak_promote(AIBinder_Weak* weak);

bool AIBinder_isRemote(const AIBinder* binder);
// False once a proxy has learnt that its service died.
bool AIBinder_isAlive(const AIBinder* binder);
// A round trip to the service, without entering its object.
binder_status_t AIBinder_ping(AIBinder* binder);

// Ties a proxy to the class of its interface, asking the service whether it is of that interface.
// False when it is not, or when the object already has another class.
bool AIBinder_associateClass(AIBinder* binder, const AIBinder_Class* clazz);
const AIBinder_Class* AIBinder_getClass(AIBinder* binder);

// A request parcel for `binder`, which must have a class; the caller owns `*in`.
binder_status_t AIBinder_prepareTransaction(AIBinder* binder, AParcel** in);
// Makes the call and waits for its reply. Consumes `*in` whatever happens and sets it to null; on
// STATUS_OK the caller owns `*out`. Only synchronous calls exist here: `flags` must be 0.
binder_status_t AIBinder_transact(AIBinder* binder, transaction_code_t code, AParcel** in,
                                  AParcel** out, binder_flags_t flags);

// Death recipients. onBinderDied is called once per link, on a thread of this library, without a
// lock held. onUnlinked, when set, is called once the cookie is no longer needed.
using AIBinder_DeathRecipient_onBinderDied = void (*)(void* cookie);
using AIBinder_DeathRecipient_onBinderUnlinked = void (*)(void* cookie);

AIBinder_DeathRecipient* AIBinder_DeathRecipient_new(AIBinder_DeathRecipient_onBinderDied onDied);
void AIBinder_DeathRecipient_setOnUnlinked(AIBinder_DeathRecipient* recipient,
                                           AIBinder_DeathRecipient_onBinderUnlinked onUnlinked);
// Unlinks what is still linked. A call already under way ends first, unless this is that call.
void AIBinder_DeathRecipient_delete(AIBinder_DeathRecipient* recipient);
// STATUS_INVALID_OPERATION for a local object, STATUS_DEAD_OBJECT when the service is gone.
binder_status_t AIBinder_linkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                     void* cookie);
// STATUS_NAME_NOT_FOUND when there is no such link.
binder_status_t AIBinder_unlinkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                       void* cookie);

}  // extern "C"
