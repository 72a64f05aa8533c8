// slow_close: a library for LD_PRELOAD in the injected-fault test. Every
// close takes 200 us longer, so that each frame (two closes) is as slow as
// on network storage and the patch run hands the later frames to its worker
// pool: the faults are then injected in a worker thread. Test use only.
#include <dlfcn.h>
#include <time.h>
#include <unistd.h>

extern "C" int close(int iHandle) {
  using PfnClose = int (*)(int);
  static PfnClose const s_pfnClose =
      reinterpret_cast<PfnClose>(dlsym(RTLD_NEXT, "close"));
  struct timespec const oDelay = {0, 200000};
  nanosleep(&oDelay, nullptr);
  return s_pfnClose(iHandle);
}
