// Internal: the thread layer's hook into thread storage.
#ifndef OXTHREADSTORAGE_P_H
#define OXTHREADSTORAGE_P_H

#include "core/thread/oxplainarray_p.h"

// Runs when a thread ends: empties the thread's value array from the highest
// slot id down, handing every value to its slot's destructor (outside the
// registry lock, so destructors may use thread storage themselves). A value
// whose storage is gone is reported and left alone.
void OxThreadStorageFinish(COxPlainArray<void*>& values);

#endif // OXTHREADSTORAGE_P_H
