// stream.cpp - streams, events and the scheduler of the emulated GPU.
//
// Every stream is a queue of work items. An item depends on the previous item of its stream, on
// the events its stream was told to wait for, and on the legacy default stream's rules: an item
// on the legacy stream waits for all earlier work of the blocking streams of its device, an item
// on a blocking stream waits for all earlier legacy-stream work; non-blocking streams do not order
// against the legacy stream.
//
// Under the eager schedule an item runs when it is submitted. Under the adversarial schedule (the
// default) work runs only when something forces it (a synchronisation, a synchronous call), and
// then only what is needed: the forced items and their transitive dependencies, the ready ones in
// an order drawn from a seeded random generator. A missing synchronisation therefore reads stale
// data instead of passing by luck.
//
// cudaStreamQuery / cudaEventQuery on pending work answer cudaErrorNotReady once without running
// anything; the next query runs the work and answers cudaSuccess. A loop polling the query thus
// terminates (as it would on a GPU) while code that assumes completion without a wait is caught.
#include "core_state.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <random>
#include <unordered_map>
#include <unordered_set>

namespace emu {

namespace {

constexpr int kMaxDevices = 16;
constexpr int kLeastPriority = 0;
constexpr int kGreatestPriority = -5;

struct Stream {
    uint64_t id;
    int device;
    unsigned flags;
    int priority = 0;
    bool legacy = false;
    bool destroyed = false;
    uint64_t last = 0;  // last submitted item (maybe completed)
    size_t pending = 0;
    bool reportedNotReady = false;
    cudaStream_t handle = nullptr;
};

struct Item {
    uint64_t id;
    Stream* stream;
    std::string name;
    std::function<void()> work;
    std::vector<uint64_t> deps;
    std::vector<uint64_t> allocations;
    bool running = false;
};

struct Event {
    int device;
    unsigned flags;
    bool recorded = false;
    uint64_t item = 0;
    std::shared_ptr<double> timeMs;  // set when the recording marker runs; < 0 before
    bool reportedNotReady = false;
};

std::map<uint64_t, Item> g_pending;
uint64_t g_nextItem = 1;
uint64_t g_nextStream = 1;
std::map<uint64_t, std::unique_ptr<Stream>> g_streams;  // every live or draining stream
std::unordered_map<cudaStream_t, Stream*> g_handles;    // created streams by handle
Stream* g_legacy[kMaxDevices] = {};
std::unordered_map<cudaEvent_t, std::unique_ptr<Event>> g_events;
uint64_t g_nextEvent = 1;

struct ThreadStreams {
    Stream* perThread[kMaxDevices] = {};
};
thread_local ThreadStreams t_streams;

bool g_eager = false;
std::mt19937_64 g_rng;

// Initial policy: the adversarial schedule unless ZULI_EMU_SCHEDULE says eager; ZULI_EMU_SEED
// seeds the order.
bool envEager() {
    const char* s = std::getenv("ZULI_EMU_SCHEDULE");
    return s && std::strcmp(s, "eager") == 0;
}
unsigned long long envSeed() {
    const char* s = std::getenv("ZULI_EMU_SEED");
    return s ? std::strtoull(s, nullptr, 0) : 0x5eedull;
}
struct ScheduleInit {
    ScheduleInit() {
        g_eager = envEager();
        g_rng.seed(envSeed());
    }
} g_scheduleInit;

double nowMs() {
    using namespace std::chrono;
    return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

bool isDone(uint64_t item) {
    return item == 0 || !g_pending.count(item);
}

Stream* newStream(int device, unsigned flags, bool legacy) {
    auto st = std::make_unique<Stream>();
    st->id = g_nextStream++;
    st->device = device;
    st->flags = flags;
    st->legacy = legacy;
    Stream* raw = st.get();
    g_streams.emplace(raw->id, std::move(st));
    return raw;
}

Stream* legacyStream(int device) {
    if (!g_legacy[device]) g_legacy[device] = newStream(device, cudaStreamDefault, true);
    return g_legacy[device];
}

// The stream a handle names for the calling thread, nullptr for an invalid handle.
Stream* resolve(cudaStream_t s) {
    int dev = currentDevice();
    if (s == nullptr || s == cudaStreamLegacy) return legacyStream(dev);
    if (s == cudaStreamPerThread) {
        Stream*& st = t_streams.perThread[dev];
        if (!st) st = newStream(dev, cudaStreamDefault, false);
        return st;
    }
    auto it = g_handles.find(s);
    return it == g_handles.end() ? nullptr : it->second;
}

void retireIfDrained(Stream* st) {
    if (st->destroyed && st->pending == 0) g_streams.erase(st->id);
}

void runItem(uint64_t id) {
    auto it = g_pending.find(id);
    if (it == g_pending.end() || it->second.running) return;
    Item& item = it->second;
    Stream* st = item.stream;
    item.running = true;
    // A device whose context carries a sticky error runs nothing more, as on a GPU.
    if (deviceStickyError(st->device) == cudaSuccess) {
        int outer = executingDevice();
        setExecutingDevice(st->device);
        try {
            item.work();
        } catch (const std::exception& e) {
            violation(item.name.c_str(), nullptr, std::string("work failed: ") + e.what(),
                      cudaErrorLaunchFailure);
        } catch (...) {
            violation(item.name.c_str(), nullptr, "work failed with an unknown exception",
                      cudaErrorLaunchFailure);
        }
        setExecutingDevice(outer);
    }
    g_pending.erase(id);
    --st->pending;
    retireIfDrained(st);
}

// Runs the pending items `targets` and everything they depend on: ready items one at a time,
// in issue order (eager) or in a seeded random order (adversarial).
void runItems(const std::vector<uint64_t>& targets) {
    std::unordered_map<uint64_t, int> waiting;  // pending dependencies of each needed item
    std::unordered_map<uint64_t, std::vector<uint64_t>> dependents;
    std::vector<uint64_t> stack;
    for (uint64_t t : targets)
        if (!isDone(t)) stack.push_back(t);
    while (!stack.empty()) {
        uint64_t id = stack.back();
        stack.pop_back();
        if (waiting.count(id)) continue;
        int count = 0;
        for (uint64_t d : g_pending.at(id).deps) {
            if (isDone(d)) continue;
            ++count;
            dependents[d].push_back(id);
            stack.push_back(d);
        }
        waiting[id] = count;
    }
    std::vector<uint64_t> ready;
    for (auto& [id, count] : waiting)
        if (count == 0) ready.push_back(id);
    while (!ready.empty()) {
        size_t pick = 0;
        if (g_eager) {
            pick = std::min_element(ready.begin(), ready.end()) - ready.begin();
        } else {
            std::sort(ready.begin(), ready.end());  // the seed alone decides the order
            pick = g_rng() % ready.size();
        }
        uint64_t id = ready[pick];
        ready.erase(ready.begin() + pick);
        if (!isDone(id) && g_pending.at(id).running) {
            violation(g_pending.at(id).name.c_str(), nullptr,
                      "a synchronisation inside stream work waits for that work itself",
                      cudaErrorLaunchFailure);
            return;
        }
        runItem(id);
        for (uint64_t d : dependents[id])
            if (--waiting[d] == 0) ready.push_back(d);
    }
}

void runUntil(uint64_t item) {
    if (!isDone(item)) runItems({item});
}

uint64_t enqueue(Stream* st, const char* name, std::function<void()> work,
                 const std::vector<const void*>& uses, uint64_t extraDep = 0) {
    Item item;
    item.id = g_nextItem++;
    item.stream = st;
    item.name = name ? name : "work";
    item.work = std::move(work);
    if (!isDone(st->last)) item.deps.push_back(st->last);
    if (st->legacy) {
        for (auto& [sid, other] : g_streams)
            if (other->device == st->device && !other->legacy &&
                !(other->flags & cudaStreamNonBlocking) && !isDone(other->last))
                item.deps.push_back(other->last);
    } else if (!(st->flags & cudaStreamNonBlocking)) {
        Stream* legacy = g_legacy[st->device];
        if (legacy && !isDone(legacy->last)) item.deps.push_back(legacy->last);
    }
    if (!isDone(extraDep)) item.deps.push_back(extraDep);
    for (const void* p : uses)
        if (uint64_t a = allocationOf(p)) item.allocations.push_back(a);
    uint64_t id = item.id;
    st->last = id;
    ++st->pending;
    st->reportedNotReady = false;
    g_pending.emplace(id, std::move(item));
    if (g_eager) runUntil(id);
    return id;
}

cudaError_t createStream(cudaStream_t* pStream, unsigned flags, int priority) {
    if (!pStream || (flags & ~unsigned(cudaStreamNonBlocking)))
        return setError(cudaErrorInvalidValue);
    Guard g(lock());
    Stream* st = newStream(currentDevice(), flags, false);
    st->priority = std::clamp(priority, kGreatestPriority, kLeastPriority);
    // Opaque handle values, never dereferenced and never reused.
    st->handle = reinterpret_cast<cudaStream_t>(0x7e5700000000ull + st->id * 16);
    g_handles[st->handle] = st;
    *pStream = st->handle;
    return cudaSuccess;
}

cudaError_t createEvent(cudaEvent_t* event, unsigned flags) {
    unsigned known = cudaEventBlockingSync | cudaEventDisableTiming | cudaEventInterprocess;
    if (!event || (flags & ~known)) return setError(cudaErrorInvalidValue);
    if ((flags & cudaEventInterprocess) && !(flags & cudaEventDisableTiming))
        return setError(cudaErrorInvalidValue);
    Guard g(lock());
    auto ev = std::make_unique<Event>();
    ev->device = currentDevice();
    ev->flags = flags;
    auto handle = reinterpret_cast<cudaEvent_t>(0x7e5800000000ull + g_nextEvent++ * 16);
    g_events.emplace(handle, std::move(ev));
    *event = handle;
    return cudaSuccess;
}

Event* findEvent(cudaEvent_t e) {
    auto it = g_events.find(e);
    return it == g_events.end() ? nullptr : it->second.get();
}

}  // namespace

// ---- internal interface
// -----------------------------------------------------------------------------

cudaError_t submit(cudaStream_t s, const char* name, std::function<void()> work,
                   const std::vector<const void*>& uses) {
    Guard g(lock());
    Stream* st = resolve(s);
    if (!st) return setError(cudaErrorInvalidResourceHandle);
    if (cudaError_t sticky = deviceStickyError(st->device); sticky != cudaSuccess)
        return setErrorOn(st->device, sticky);
    enqueue(st, name, std::move(work), uses);
    return cudaSuccess;
}

cudaError_t submit(cudaStream_t s, const char* name, std::function<void()> work,
                   std::initializer_list<const void*> uses) {
    return submit(s, name, std::move(work), std::vector<const void*>(uses));
}

cudaError_t submitAndWait(cudaStream_t s, const char* name, std::function<void()> work,
                          const std::vector<const void*>& uses) {
    Guard g(lock());
    Stream* st = resolve(s);
    if (!st) return setError(cudaErrorInvalidResourceHandle);
    if (cudaError_t sticky = deviceStickyError(st->device); sticky != cudaSuccess)
        return setErrorOn(st->device, sticky);
    uint64_t id = enqueue(st, name, std::move(work), uses);
    countSync();
    runUntil(id);
    return setErrorOn(st->device, deviceStickyError(st->device));
}

cudaError_t waitStream(cudaStream_t s, bool sync) {
    Guard g(lock());
    Stream* st = resolve(s);
    if (!st) return setError(cudaErrorInvalidResourceHandle);
    if (sync) countSync();
    runUntil(st->last);
    return setErrorOn(st->device, deviceStickyError(st->device));
}

int streamDevice(cudaStream_t s) {
    Guard g(lock());
    Stream* st = resolve(s);
    return st ? st->device : -1;
}

void runAll(int device) {
    Guard g(lock());
    std::vector<uint64_t> targets;
    for (auto& [id, item] : g_pending)
        if (device < 0 || item.stream->device == device) targets.push_back(id);
    runItems(targets);
}

namespace {

// True when the item will still touch the allocation: work of a device with a sticky error
// never runs, so it no longer holds its memory.
bool holds(const Item& item, uint64_t allocation) {
    if (!item.running && deviceStickyError(item.stream->device) != cudaSuccess) return false;
    return std::find(item.allocations.begin(), item.allocations.end(), allocation) !=
           item.allocations.end();
}

}  // namespace

bool allocationInUse(uint64_t id, std::string* name) {
    Guard g(lock());
    for (auto& [iid, item] : g_pending) {
        if (holds(item, id)) {
            if (name) *name = item.name;
            return true;
        }
    }
    return false;
}

bool runForFree(uint64_t id, cudaError_t* error) {
    Guard g(lock());
    // The devices to wait for: the calling thread's current one, and every device whose pending
    // work uses the allocation.
    std::vector<int> devices{currentDevice()};
    for (auto& [iid, item] : g_pending)
        if (holds(item, id)) devices.push_back(item.stream->device);
    std::vector<uint64_t> targets;
    for (auto& [iid, item] : g_pending)
        if (std::find(devices.begin(), devices.end(), item.stream->device) != devices.end())
            targets.push_back(iid);
    *error = cudaSuccess;
    if (targets.empty()) return false;
    runItems(targets);
    for (int device : devices)
        if (cudaError_t sticky = deviceStickyError(device); sticky != cudaSuccess) {
            *error = setErrorOn(device, sticky);
            break;
        }
    return true;
}

void resetDeviceStreams(int device) {
    Guard g(lock());
    for (auto it = g_pending.begin(); it != g_pending.end();) {
        if (it->second.stream->device == device && !it->second.running) {
            --it->second.stream->pending;
            it = g_pending.erase(it);
        } else {
            ++it;
        }
    }
    for (auto it = g_handles.begin(); it != g_handles.end();) {
        if (it->second->device == device) {
            it->second->destroyed = true;
            Stream* st = it->second;
            it = g_handles.erase(it);
            retireIfDrained(st);
        } else {
            ++it;
        }
    }
    std::erase_if(g_events, [&](const auto& e) { return e.second->device == device; });
}

void resetSchedule() {
    Guard g(lock());
    g_eager = envEager();
    g_rng.seed(envSeed());
}

void setSchedule(bool eager, unsigned long long seed) {
    Guard g(lock());
    g_eager = eager;
    g_rng.seed(seed);
}

}  // namespace emu

// ---- CUDA runtime: streams and events
// ------------------------------------------------------------------

using emu::Guard;
using emu::lock;
using emu::setError;

extern "C" {

cudaError_t cudaStreamCreateWithPriority(cudaStream_t* pStream, unsigned int flags, int priority) {
    EMU_DEVICE_ENTRY("cudaStreamCreateWithPriority");
    return emu::createStream(pStream, flags, priority);
}

cudaError_t cudaStreamCreateWithFlags(cudaStream_t* pStream, unsigned int flags) {
    EMU_DEVICE_ENTRY("cudaStreamCreateWithFlags");
    return emu::createStream(pStream, flags, 0);
}

cudaError_t cudaStreamCreate(cudaStream_t* pStream) {
    EMU_DEVICE_ENTRY("cudaStreamCreate");
    return emu::createStream(pStream, cudaStreamDefault, 0);
}

// Pending work of a destroyed stream still completes (when something forces it).
cudaError_t cudaStreamDestroy(cudaStream_t stream) {
    EMU_DEVICE_ENTRY("cudaStreamDestroy");
    Guard g(lock());
    auto it = emu::g_handles.find(stream);
    if (it == emu::g_handles.end()) return setError(cudaErrorInvalidResourceHandle);
    emu::Stream* st = it->second;
    emu::g_handles.erase(it);
    st->destroyed = true;
    emu::retireIfDrained(st);
    return cudaSuccess;
}

cudaError_t cudaStreamSynchronize(cudaStream_t stream) {
    EMU_DEVICE_ENTRY("cudaStreamSynchronize");
    return emu::waitStream(stream, true);
}

cudaError_t cudaStreamQuery(cudaStream_t stream) {
    EMU_DEVICE_ENTRY("cudaStreamQuery");
    Guard g(lock());
    emu::Stream* st = emu::resolve(stream);
    if (!st) return setError(cudaErrorInvalidResourceHandle);
    if (!emu::isDone(st->last)) {
        if (!st->reportedNotReady) {
            st->reportedNotReady = true;
            return cudaErrorNotReady;  // a status, not an error: the last error is left alone
        }
        emu::runUntil(st->last);
    }
    return emu::setErrorOn(st->device, emu::deviceStickyError(st->device));
}

extern "C++" {
namespace {
// Reads one attribute of a live stream into *out (the three stream getters differ only in which).
template <typename T, typename Field>
cudaError_t readStreamAttribute(cudaStream_t hStream, T* out, Field field) {
    if (!out) return setError(cudaErrorInvalidValue);
    Guard g(lock());
    emu::Stream* st = emu::resolve(hStream);
    if (!st) return setError(cudaErrorInvalidResourceHandle);
    *out = field(*st);
    return cudaSuccess;
}
}  // namespace
}  // extern "C++"

cudaError_t cudaStreamGetFlags(cudaStream_t hStream, unsigned int* flags) {
    EMU_DEVICE_ENTRY("cudaStreamGetFlags");
    return readStreamAttribute(hStream, flags, [](const emu::Stream& st) { return st.flags; });
}

cudaError_t cudaStreamGetPriority(cudaStream_t hStream, int* priority) {
    EMU_DEVICE_ENTRY("cudaStreamGetPriority");
    return readStreamAttribute(hStream, priority, [](const emu::Stream& st) { return st.priority; });
}

cudaError_t cudaStreamGetDevice(cudaStream_t hStream, int* device) {
    EMU_DEVICE_ENTRY("cudaStreamGetDevice");
    return readStreamAttribute(hStream, device, [](const emu::Stream& st) { return st.device; });
}

cudaError_t cudaDeviceGetStreamPriorityRange(int* leastPriority, int* greatestPriority) {
    EMU_DEVICE_ENTRY("cudaDeviceGetStreamPriorityRange");
    if (leastPriority) *leastPriority = emu::kLeastPriority;
    if (greatestPriority) *greatestPriority = emu::kGreatestPriority;
    return cudaSuccess;
}

cudaError_t cudaStreamWaitEvent(cudaStream_t stream, cudaEvent_t event, unsigned int flags) {
    EMU_DEVICE_ENTRY("cudaStreamWaitEvent");
    if (flags & ~unsigned(cudaEventWaitExternal)) return setError(cudaErrorInvalidValue);
    Guard g(lock());
    emu::Stream* st = emu::resolve(stream);
    emu::Event* ev = emu::findEvent(event);
    if (!st || !ev) return setError(cudaErrorInvalidResourceHandle);
    // Later work of the stream waits for the work the event captured when it was recorded.
    if (ev->recorded && !emu::isDone(ev->item))
        emu::enqueue(
            st, "cudaStreamWaitEvent", [] {}, {}, ev->item);
    return cudaSuccess;
}

cudaError_t cudaEventCreateWithFlags(cudaEvent_t* event, unsigned int flags) {
    EMU_DEVICE_ENTRY("cudaEventCreateWithFlags");
    return emu::createEvent(event, flags);
}

cudaError_t cudaEventCreate(cudaEvent_t* event) {
    EMU_DEVICE_ENTRY("cudaEventCreate");
    return emu::createEvent(event, cudaEventDefault);
}

cudaError_t cudaEventDestroy(cudaEvent_t event) {
    EMU_DEVICE_ENTRY("cudaEventDestroy");
    Guard g(lock());
    if (!emu::g_events.erase(event)) return setError(cudaErrorInvalidResourceHandle);
    return cudaSuccess;
}

cudaError_t cudaEventRecord(cudaEvent_t event, cudaStream_t stream) {
    EMU_DEVICE_ENTRY("cudaEventRecord");
    Guard g(lock());
    emu::Event* ev = emu::findEvent(event);
    emu::Stream* st = emu::resolve(stream);
    if (!ev || !st || ev->device != st->device) return setError(cudaErrorInvalidResourceHandle);
    auto cell = std::make_shared<double>(-1.0);
    ev->timeMs = cell;
    ev->recorded = true;
    ev->reportedNotReady = false;
    ev->item = emu::enqueue(st, "cudaEventRecord", [cell] { *cell = emu::nowMs(); }, {});
    return cudaSuccess;
}

cudaError_t cudaEventSynchronize(cudaEvent_t event) {
    EMU_DEVICE_ENTRY("cudaEventSynchronize");
    Guard g(lock());
    emu::Event* ev = emu::findEvent(event);
    if (!ev) return setError(cudaErrorInvalidResourceHandle);
    emu::countSync();
    emu::runUntil(ev->item);
    return emu::setErrorOn(ev->device, emu::deviceStickyError(ev->device));
}

cudaError_t cudaEventQuery(cudaEvent_t event) {
    EMU_DEVICE_ENTRY("cudaEventQuery");
    Guard g(lock());
    emu::Event* ev = emu::findEvent(event);
    if (!ev) return setError(cudaErrorInvalidResourceHandle);
    if (!emu::isDone(ev->item)) {
        if (!ev->reportedNotReady) {
            ev->reportedNotReady = true;
            return cudaErrorNotReady;
        }
        emu::runUntil(ev->item);
    }
    return emu::setErrorOn(ev->device, emu::deviceStickyError(ev->device));
}

cudaError_t cudaEventElapsedTime(float* ms, cudaEvent_t start, cudaEvent_t end) {
    EMU_DEVICE_ENTRY("cudaEventElapsedTime");
    if (!ms) return setError(cudaErrorInvalidValue);
    Guard g(lock());
    emu::Event* a = emu::findEvent(start);
    emu::Event* b = emu::findEvent(end);
    if (!a || !b || !a->recorded || !b->recorded) return setError(cudaErrorInvalidResourceHandle);
    if ((a->flags | b->flags) & cudaEventDisableTiming)
        return setError(cudaErrorInvalidResourceHandle);
    if (!emu::isDone(a->item) || !emu::isDone(b->item)) return cudaErrorNotReady;
    *ms = static_cast<float>(*b->timeMs - *a->timeMs);
    return cudaSuccess;
}

}  // extern "C"
