// fiber.cpp - the kernel execution engine: blocks of cooperative fibers (see fiber.h).
//
// Fibers switch with a few instructions of assembly on x86-64 (fiber_switch_x86_64.S) and with
// swapcontext elsewhere. Their stacks come from a per-host-thread pool, each mapped with a guard
// page below it, and are reused from block to block and grid to grid: a fiber loops forever,
// running one GPU thread per turn and switching back to the scheduler in between.
// Under AddressSanitizer every switch is announced with __sanitizer_{start,finish}_switch_fiber.

// The dialect header declares the built-in variables and the barrier defined here; it must come
// before any CUDA header.
#include "zuli_emu_kernel.h"

#include "emu.h"
#include "fiber.h"

#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#if defined(__SANITIZE_ADDRESS__)
#define ZULI_EMU_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZULI_EMU_ASAN 1
#endif
#endif
#ifndef ZULI_EMU_ASAN
#define ZULI_EMU_ASAN 0
#endif
#if ZULI_EMU_ASAN
#include <sanitizer/asan_interface.h>
#include <sanitizer/common_interface_defs.h>
#endif

#if defined(__x86_64__) && !defined(ZULI_EMU_FIBER_UCONTEXT)
#define ZULI_EMU_FIBER_ASM 1
extern "C" void zuli_emu_fiber_switch(void** saveSp, void* loadSp);
extern "C" void zuli_emu_fiber_handoff(void** saveSp, void* loadSp);
extern "C" void zuli_emu_fiber_entry();
#else
#define ZULI_EMU_FIBER_ASM 0
#include <ucontext.h>
#endif

// ---- built-in variables ---------------------------------------------------------------------------

namespace zuli_emu {
__thread uint3 threadIdx ZULI_EMU_TLS = {0, 0, 0};
__thread uint3 blockIdx ZULI_EMU_TLS = {0, 0, 0};
__thread dim3 blockDim ZULI_EMU_TLS = dim3(1, 1, 1);
__thread dim3 gridDim ZULI_EMU_TLS = dim3(1, 1, 1);
}  // namespace zuli_emu

namespace emu {
namespace {

// Kernel frames are small; sanitizer builds need room for redzones.
constexpr std::size_t kStackBytes = ZULI_EMU_ASAN ? 256 * 1024 : 64 * 1024;

// Ready: to run in the current phase (or to start); Running: on the CPU now. End marks the slot
// after the block's last thread, so that a search for the next Ready thread needs no bound.
enum class ThreadState : std::uint8_t { Ready, End, Running, AtBarrier, Finished };

struct Fiber;
void fiberMain(void* arg) noexcept;

#if ZULI_EMU_FIBER_ASM
// A suspended context is its saved stack pointer (the rest is on its stack).
struct Context {
    void* sp = nullptr;
};
inline void switchContext(Context& from, Context& to) { zuli_emu_fiber_switch(&from.sp, to.sp); }
// Between two fibers of a block: they share the kernel's floating-point environment.
inline void handOff(Context& from, Context& to) { zuli_emu_fiber_handoff(&from.sp, to.sp); }
#else
struct Context {
    ucontext_t uc;
};
inline void switchContext(Context& from, Context& to) { swapcontext(&from.uc, &to.uc); }
inline void handOff(Context& from, Context& to) { swapcontext(&from.uc, &to.uc); }
#endif

[[noreturn]] void fatal(const char* what) {
    std::fprintf(stderr, "zuli_emu: kernel execution: %s\n", what);
    std::fflush(stderr);
    std::abort();
}

// A fiber's stack. Its context is not here but in the engine's slot for the fiber (see Slot):
// a switch then touches one small contiguous array and the target stack, nothing else.
struct Fiber {
    char* mapping = nullptr;  // guard page, then the stack
    std::size_t mappingBytes = 0;
    char* stackLow = nullptr;
    std::size_t stackBytes = 0;
#if ZULI_EMU_ASAN
    void* fakeStack = nullptr;
#endif
#if !ZULI_EMU_FIBER_ASM
    Context context;  // a ucontext_t points into itself: it must never move
#endif

    // `color` staggers the top of the stack: with every stack starting at the same offset in
    // its pages, the hot frames of all fibers would compete for the same few cache sets.
    explicit Fiber(std::size_t color) {
        const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        mappingBytes = kStackBytes + page;
        void* m = mmap(nullptr, mappingBytes, PROT_READ | PROT_WRITE,
                       MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_STACK, -1, 0);
        if (m == MAP_FAILED) {
            fatal("cannot map a fiber stack");
        }
        mapping = static_cast<char*>(m);
        if (mprotect(mapping, page, PROT_NONE) != 0) {
            fatal("cannot protect a fiber stack's guard page");
        }
        stackLow = mapping + page;
        stackBytes = kStackBytes;
        topOffset = color % 48 * 80;
    }

    ~Fiber() {
#if ZULI_EMU_ASAN
        // The stack may hold poisoned frames of a thread that never returned.
        ASAN_UNPOISON_MEMORY_REGION(stackLow, stackBytes);
#endif
        munmap(mapping, mappingBytes);
    }

    Fiber(const Fiber&) = delete;
    Fiber& operator=(const Fiber&) = delete;

#if ZULI_EMU_FIBER_ASM
    // The frame zuli_emu_fiber_switch pops: the control-word slot (-1: none saved, the fiber
    // starts with the floating-point environment of whoever first switches to it), r15, r14,
    // r13 (entry function), r12 (its argument), rbx, rbp (0: the end of the frame-pointer
    // chain), and the address zuli_emu_fiber_entry, which then runs on a 16-byte aligned stack.
    Context initialContext() {
        const auto top = reinterpret_cast<std::uintptr_t>(stackLow + stackBytes - topOffset) &
                         ~std::uintptr_t(15);
        auto* frame = reinterpret_cast<std::uint64_t*>(top - 80);
        frame[0] = ~std::uint64_t(0);
        frame[1] = 0;                                               // r15
        frame[2] = 0;                                               // r14
        frame[3] = reinterpret_cast<std::uint64_t>(&fiberMain);     // r13
        frame[4] = reinterpret_cast<std::uint64_t>(this);           // r12
        frame[5] = 0;                                               // rbx
        frame[6] = 0;                                               // rbp
        frame[7] = reinterpret_cast<std::uint64_t>(&zuli_emu_fiber_entry);
        return Context{frame};
    }
#else
    static void ucontextEntry(unsigned high, unsigned low) {
        const auto address = (std::uintptr_t(high) << 32) | std::uintptr_t(low);
        fiberMain(reinterpret_cast<void*>(address));
    }
    void initUcontext() {
        if (getcontext(&context.uc) != 0) {
            fatal("getcontext failed");
        }
        context.uc.uc_stack.ss_sp = stackLow;
        context.uc.uc_stack.ss_size = stackBytes - topOffset;
        context.uc.uc_link = nullptr;
        const auto address = reinterpret_cast<std::uintptr_t>(this);
        makecontext(&context.uc, reinterpret_cast<void (*)()>(&ucontextEntry), 2,
                    unsigned(address >> 32), unsigned(address & 0xffffffffu));
    }
#endif

private:
    std::size_t topOffset = 0;
};

// What a switch needs of thread t of the current block, in one array indexed by t: whether it
// runs in this phase, its threadIdx, and (with the assembly switch) its fiber's saved context.
// 24 bytes a thread, so a 256-thread block's whole schedule fits in 6 KiB of the L1 cache
// instead of one heap object per fiber, and a barrier finds the next thread's context at a
// fixed distance from its own slot (see leave).
struct Slot {
#if ZULI_EMU_FIBER_ASM
    Context context;
#endif
    uint3 index{0, 0, 0};
    ThreadState state = ThreadState::Finished;
};

// The engine of one host thread.
//
// Thread t of a block always runs on fiber pool[t], whose slot is slots[t]. Within a phase the
// fibers hand over to each other directly: a thread that reaches a barrier or finishes switches
// to the next thread of the block that still has to run in this phase, and the last one
// switches back to the scheduler. One switch per thread and phase, and the scheduler's stack
// stays cold.
struct Engine {
    std::vector<std::unique_ptr<Fiber>> pool;
    std::vector<Slot> slots;  // one per fiber and one more; states and indices for the grid
    std::size_t blockThreads = 0;
    Context scheduler;        // the host stack that runs the blocks
    bool inBlock = false;             // a block is executing (on fibers or as plain calls)
    bool divergent = false;           // a divergent barrier was reported for this grid
    const char* op = "kernel";
    void (*runThread)(void*) = nullptr;
    void* closure = nullptr;
#if ZULI_EMU_ASAN
    const void* schedulerStackBottom = nullptr;
    std::size_t schedulerStackBytes = 0;
    bool enteringFromScheduler = false;
#endif

    // Grows the pool to `count` fibers. A suspended fiber's context is a value (its stack
    // pointer), so the slots may move while one waits at a barrier (only on the scheduler's
    // stack: no fiber keeps a pointer to a slot across a switch).
    void ensureFibers(std::size_t count) {
        if (slots.size() < count + 1) {
            slots.resize(count + 1);
        }
        while (pool.size() < count) {
            const std::size_t t = pool.size();
            pool.push_back(std::make_unique<Fiber>(t));
#if ZULI_EMU_FIBER_ASM
            slots[t].context = pool.back()->initialContext();
#else
            pool.back()->initUcontext();
#endif
        }
    }

    std::size_t indexOf(const Slot* s) const { return std::size_t(s - slots.data()); }

    Context& context(Slot* s) {
#if ZULI_EMU_FIBER_ASM
        return s->context;
#else
        return pool[indexOf(s)]->context;
#endif
    }
};

// The engine is reached through an initial-exec pointer (one instruction) from every barrier.
// It is owned through a pthread key, whose destructor frees it and its fibers when the host
// thread ends. Not a thread_local object: the program's thread-local destructors run before the
// key destructors and may still run kernels (a library that destroys its cuBLAS handles when its
// thread ends waits for the device's pending work, other threads' kernels included); an engine
// destroyed by then would be used after its end. A kernel run from a key destructor after this
// one makes a new engine, which the next round of key destructors frees.
__thread Engine* t_engine ZULI_EMU_TLS = nullptr;

// The slot of the thread running on a fiber now (null on the scheduler's stack). A barrier
// starts from here: the next thread's slot, its context and then its stack are the only
// dependent loads between one thread's barrier and the next thread's first instruction.
__thread Slot* t_running ZULI_EMU_TLS = nullptr;

// Marks slot s as the running thread; the caller switches to it next.
inline void enter(Slot* s) {
    s->state = ThreadState::Running;
    zuli_emu::threadIdx = s->index;
    t_running = s;
}

pthread_key_t engineKey() {
    static const pthread_key_t key = [] {
        pthread_key_t k;
        if (pthread_key_create(&k, [](void* e) {
                t_engine = nullptr;
                delete static_cast<Engine*>(e);
            }) != 0) {
            fatal("cannot create the thread key of the kernel engines");
        }
        return k;
    }();
    return key;
}

Engine& engine() {
    if (t_engine == nullptr) [[unlikely]] {
        auto* e = new Engine;
        if (pthread_setspecific(engineKey(), e) != 0) {
            fatal("cannot register a thread's kernel engine");
        }
        t_engine = e;
    }
    return *t_engine;
}

// On a fiber just resumed: complete the sanitizer's switch, learning the scheduler's stack
// when the switch came from there.
inline void arrived([[maybe_unused]] Engine& e, [[maybe_unused]] void* fakeStack) {
#if ZULI_EMU_ASAN
    const void* fromBottom = nullptr;
    std::size_t fromBytes = 0;
    __sanitizer_finish_switch_fiber(fakeStack, &fromBottom, &fromBytes);
    if (e.enteringFromScheduler) {
        e.schedulerStackBottom = fromBottom;
        e.schedulerStackBytes = fromBytes;
        e.enteringFromScheduler = false;
    }
#endif
}

// Scheduler -> thread t; returns when the chain of the phase gives control back.
void startChain(Engine& e, std::size_t t) {
    Slot* s = &e.slots[t];
    enter(s);
#if ZULI_EMU_ASAN
    Fiber* f = e.pool[t].get();
    void* fake = nullptr;
    e.enteringFromScheduler = true;
    __sanitizer_start_switch_fiber(&fake, f->stackLow, f->stackBytes);
    switchContext(e.scheduler, e.context(s));
    __sanitizer_finish_switch_fiber(fake, nullptr, nullptr);
#else
    switchContext(e.scheduler, e.context(s));
#endif
    t_running = nullptr;
}

// The running thread stops (at a barrier or at its end) and hands over to the next thread of
// the block still to run in this phase, or to the scheduler. Returns when it is resumed.
[[gnu::always_inline]] inline void leave(Engine& e, ThreadState state) {
    Slot* const self = t_running;
    self->state = state;
    Slot* next = self + 1;
    while (next->state > ThreadState::End) {
        ++next;
    }
#if ZULI_EMU_ASAN
    Fiber* f = e.pool[e.indexOf(self)].get();
#endif
    if (next->state == ThreadState::Ready) [[likely]] {
        enter(next);
#if ZULI_EMU_FIBER_ASM
        // The thread after `next` most likely runs after it: start loading its saved frame
        // (the End slot's context is a fiber's too, or null: prefetching either is harmless).
        __builtin_prefetch(next[1].context.sp);
#endif
#if ZULI_EMU_ASAN
        Fiber* to = e.pool[e.indexOf(next)].get();
        __sanitizer_start_switch_fiber(&f->fakeStack, to->stackLow, to->stackBytes);
#endif
        handOff(e.context(self), e.context(next));
    } else {
        t_running = nullptr;
#if ZULI_EMU_ASAN
        __sanitizer_start_switch_fiber(&f->fakeStack, e.schedulerStackBottom,
                                       e.schedulerStackBytes);
#endif
        switchContext(e.context(self), e.scheduler);
    }
#if ZULI_EMU_ASAN
    arrived(e, f->fakeStack);
#endif
}

void fiberMain(void*) noexcept {
    Engine& e = engine();
    arrived(e, nullptr);
    for (;;) {
        e.runThread(e.closure);
        leave(e, ThreadState::Finished);
    }
}

std::string threadName(uint3 t, uint3 b) {
    char text[160];
    std::snprintf(text, sizeof text, "thread (%u,%u,%u) of block (%u,%u,%u)", t.x, t.y, t.z, b.x,
                  b.y, b.z);
    return text;
}

void reportDivergent(Engine& e, const std::string& what) {
    if (e.divergent) {
        return;
    }
    e.divergent = true;
    violation(e.op, nullptr, "divergent __syncthreads: " + what, cudaErrorLaunchFailure);
}

void runBlock(Engine& e) {
    const std::size_t threads = e.blockThreads;
    Slot* slots = e.slots.data();
    slots[0].state = ThreadState::Ready;
    for (std::size_t t = 1; t < threads; ++t) {
        slots[t].state = ThreadState::Finished;
    }
    startChain(e, 0);

    if (slots[0].state == ThreadState::Finished) {
        // No barrier on thread 0's path: the others run as plain calls, at host-loop speed.
        void (*const runThread)(void*) = e.runThread;
        void* const closure = e.closure;
        for (std::size_t t = 1; t < threads; ++t) {
            zuli_emu::threadIdx = slots[t].index;
            runThread(closure);
        }
        return;
    }

    // Thread 0 waits at a barrier: every thread gets a fiber (the slots were sized for the
    // block when the grid started), and the block advances phase by phase until all threads
    // have finished.
    e.ensureFibers(threads);
    slots = e.slots.data();
    if (threads > 1) {
        for (std::size_t t = 1; t < threads; ++t) {
            slots[t].state = ThreadState::Ready;
        }
        startChain(e, 1);
    }
    for (;;) {
        std::size_t waiting = 0;
        std::size_t firstWaiting = threads;
        std::size_t firstFinished = threads;
        for (std::size_t t = 0; t < threads; ++t) {
            if (slots[t].state == ThreadState::AtBarrier) {
                slots[t].state = ThreadState::Ready;
                firstWaiting = waiting++ == 0 ? t : firstWaiting;
            } else if (firstFinished == threads) {
                firstFinished = t;
            }
        }
        if (waiting == 0) {
            return;
        }
        if (waiting != threads) {
            reportDivergent(e, threadName(slots[firstWaiting].index, zuli_emu::blockIdx) +
                                   " waits at a barrier that " +
                                   threadName(slots[firstFinished].index, zuli_emu::blockIdx) +
                                   " finished without reaching");
        }
        startChain(e, firstWaiting);
    }
}

}  // namespace

bool runGrid(const char* op, dim3 grid, dim3 block, void (*runThread)(void*), void* closure) {
    Engine& e = engine();
    if (e.inBlock) {
        fatal("a kernel was started from inside a kernel");
    }
    e.op = op;
    e.runThread = runThread;
    e.closure = closure;
    e.divergent = false;
    e.inBlock = true;
    zuli_emu::gridDim = grid;
    zuli_emu::blockDim = block;
    const std::size_t threads = std::size_t(block.x) * block.y * block.z;
    e.blockThreads = threads;
    // Thread 0 always runs on a fiber; the others get theirs when the block first waits.
    e.ensureFibers(1);
    if (e.slots.size() < threads + 1) {
        e.slots.resize(threads + 1);
    }
    for (std::size_t t = 0; t < threads; ++t) {
        e.slots[t].index = uint3{unsigned(t % block.x), unsigned(t / block.x % block.y),
                                 unsigned(t / (std::size_t(block.x) * block.y))};
    }
    e.slots[threads].state = ThreadState::End;
    for (unsigned z = 0; z < grid.z; ++z) {
        for (unsigned y = 0; y < grid.y; ++y) {
            for (unsigned x = 0; x < grid.x; ++x) {
                zuli_emu::blockIdx = uint3{x, y, z};
                runBlock(e);
            }
        }
    }
    e.inBlock = false;
    e.runThread = nullptr;
    e.closure = nullptr;
    return !e.divergent;
}

std::size_t fiberStackBytes() { return kStackBytes; }

std::size_t fiberPoolSize() { return engine().pool.size(); }

}  // namespace emu

namespace zuli_emu {

namespace {

// __syncthreads where no fiber runs: a thread run as a plain call, or no kernel at all.
[[gnu::noinline, gnu::cold]] void syncThreadsWithoutFiber() {
    emu::Engine& e = emu::engine();
    if (e.inBlock) {
        // A plain call: thread 0 of this block already finished without reaching a barrier.
        emu::reportDivergent(e, emu::threadName(threadIdx, blockIdx) +
                                    " reached a barrier that thread (0,0,0) finished without");
        return;
    }
    emu::violation("__syncthreads", nullptr, "called outside a kernel", cudaErrorLaunchFailure);
}

}  // namespace

// The hot path of every barrier: one load, then straight into the hand-over.
void syncThreads() {
    if (emu::t_running != nullptr) [[likely]] {
        emu::leave(*emu::t_engine, emu::ThreadState::AtBarrier);
        return;
    }
    syncThreadsWithoutFiber();
}

bool runGridDirect(const char* op, dim3 grid, dim3 block, const GridBody& body) {
    return emu::runGrid(op, grid, block, body.runThread, body.closure.get());
}

}  // namespace zuli_emu
