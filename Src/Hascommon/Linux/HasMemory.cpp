#include <Hascommon/Linux/HasMemory.h>

#include <cstdlib>

unsigned int g_nMemUsedSize = 0;
unsigned char* g_pMemBase = nullptr;

bool CreateHasMemory(unsigned int) {
    return true;
}

void GetHasMemory(unsigned char** block, unsigned int* size) {
    *block = static_cast<unsigned char*>(malloc(*size));
}

void FreeHasMemory(unsigned char* block) {
    free(block);
}

bool DestroyHasMemory() {
    return true;
}

unsigned int GetUsedBufSize() {
    return g_nMemUsedSize;
}
