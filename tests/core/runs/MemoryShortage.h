#ifndef MEMORYSHORTAGE_H
#define MEMORYSHORTAGE_H

/// Whether the next allocation of the calling thread fails, once: the test program has its own
/// operator new.
void setOutOfMemory(bool isOut);

#endif
