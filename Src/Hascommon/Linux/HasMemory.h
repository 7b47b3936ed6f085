/// @file
/// The memory-block entry points of the engine's memory interface.
///
/// Blocks come from `malloc`; the pool that the names speak of does not exist here. Every function
/// may be called from any thread.
#pragma once

#include <Hascommon/Export.h>

/// Bytes in use, as far as the embedding program writes it; the library never does.
extern HAS_API unsigned int g_nMemUsedSize;
/// Base of the memory block, as far as the embedding program writes it; the library never does.
extern HAS_API unsigned char* g_pMemBase;

/// Allocates nothing, whatever `size` is.
/// @return true
HAS_API bool CreateHasMemory(unsigned int size);

/// Allocates a block.
/// @param block  receives the block, which the caller frees with FreeHasMemory(), or null
/// @param size   points to the wanted size in bytes; not changed
HAS_API void GetHasMemory(unsigned char** block, unsigned int* size);

/// Frees a block of GetHasMemory(); null is ignored.
HAS_API void FreeHasMemory(unsigned char* block);

/// Does nothing.
/// @return true
HAS_API bool DestroyHasMemory();

/// @return `g_nMemUsedSize`
HAS_API unsigned int GetUsedBufSize();
