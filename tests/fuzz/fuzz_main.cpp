#include "sandbox.h"

#include <QtGlobal>

// Before the first input: the sandbox gives root's privileges up.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv)
{
    Q_UNUSED(argc)
    Q_UNUSED(argv)
    VornSyncFuzz::Sandbox::instance();
    return 0;
}
