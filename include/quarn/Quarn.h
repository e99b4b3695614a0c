// The whole public interface of the Quarn runtime.
#ifndef QUARN_QUARN_H
#define QUARN_QUARN_H

#include <quarn/Config.h>
#include <quarn/Heap.h>
#include <quarn/Root.h>
#include <quarn/Allocator.h>
#include <quarn/ErrorCodes.h>
#include <quarn/Time.h>
#include <quarn/UnicodeUtils.h>
#include <quarn/String.h>
#include <quarn/Variant.h>
#include <quarn/Array.h>
#include <quarn/Geometry.h>
#include <quarn/SimpleArray.h>
#include <quarn/SparseArray.h>
#include <quarn/HashTable.h>
#include <quarn/Localizer.h>
#include <quarn/Error.h>
#include <quarn/Encoder.h>

#endif
