// System properties under the names of Android's <cutils/properties.h>.
//
// Each property is a file of its own name in /dev/__properties__/, and the file's bytes are the
// value, so a person reads and sets properties with cat and echo. A newline at the end of the file
// is the editor's, not the value's; only one is taken off. A file of more than 91 bytes, this
// newline not counted, holds no possible value and counts as empty.
//
// A name is made of letters, digits and ". - _ @ :"; it has no dot at either end, no two dots in a
// row and at most 255 characters. No property is special: one that begins with "ro." can be set
// again.
//
// Both functions may be called from any thread and process at the same time, throw nothing, keep
// nothing and use no memory from the heap.
#pragma once

#define PROPERTY_VALUE_MAX 92  // bytes of a value, its terminating NUL included

extern "C" {

// Puts the property's value into `value`, which has room for PROPERTY_VALUE_MAX bytes, and returns
// its length. A property that is unset, empty or cannot be read, or a bad name, gives
// `default_value` instead, cut at 91 bytes; a null `default_value` gives the empty text and 0.
// Costs an open, a read and a close.
int property_get(const char* key, char* value, const char* default_value);

// Sets the property and returns 0; a null or empty `value` makes it empty. A reader gets
// the old value or the new one. Returns -1 for a bad name, a value of more than 91 bytes, or
// when the file cannot be written (errno says why); the old value then stays.
int property_set(const char* key, const char* value);

}  // extern "C"
