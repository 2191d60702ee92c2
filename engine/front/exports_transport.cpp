#include <algorithm>
#include <cstring>

#include "front/exports.h"
#include "front/front.h"

// Transports and engines: making, joining and ending them.

using namespace sable;

namespace {

constexpr uint32_t interfaceCount = 1;

template <typename Work>
int32_t WithTransport(void *handle, Work work) {
    return Guarded([&] {
        const std::shared_ptr<Transport> transport = TheFront().transports.Find(handle);
        return transport != nullptr ? work(*transport) : SABLE_BAD_ARGUMENT;
    });
}

} // namespace

namespace sable {

std::shared_ptr<Engine> FindEngine(void *handle) { return TheFront().engines.Find(handle); }

} // namespace sable

/// Numbers 1 to 9 are transports that this library does not have.
int32_t TransportCreate(void **transport, uint32_t number) {
    if (transport == nullptr) return SABLE_BAD_ARGUMENT;
    *transport = nullptr;
    if (number == 0 || number > Transport::local) return SABLE_BAD_ARGUMENT;
    if (number != Transport::local) return SABLE_NOT_SUPPORTED;
    return Guarded([&] {
        *transport = TheFront().transports.Add(std::make_shared<Transport>());
        return SABLE_OK;
    });
}

int32_t TransportGetInterfaceCount(void *transport, uint32_t *count) {
    return WithTransport(transport, [&](Transport &) {
        if (count == nullptr) return SABLE_BAD_ARGUMENT;
        *count = interfaceCount;
        return SABLE_OK;
    });
}

/// `size`: in, of the buffer; out, of the name with its zero, also when the buffer is too small and stays as
/// it is.
int32_t TransportGetInterfaceName(void *transport, uint32_t index, char *buffer, uint32_t *size) {
    return WithTransport(transport, [&](Transport &) {
        if (size == nullptr || index >= interfaceCount) return SABLE_BAD_ARGUMENT;
        const uint32_t room = buffer != nullptr ? *size : 0;
        *size = uint32_t(demoInterface.size()) + 1;
        if (room < *size) return SABLE_FAILED;
        demoInterface.copy(buffer, demoInterface.size());
        buffer[demoInterface.size()] = '\0';
        return SABLE_OK;
    });
}

int32_t TransportSetInterfaceName(void *transport, const char *name) {
    return WithTransport(transport, [&](Transport &found) {
        return name != nullptr && found.SetInterface(name) ? SABLE_OK : SABLE_BAD_ARGUMENT;
    });
}

int32_t TransportSetInterfaceIndex(void *transport, uint32_t index) {
    return WithTransport(transport, [&](Transport &found) {
        return index < interfaceCount && found.SetInterface(demoInterface) ? SABLE_OK : SABLE_BAD_ARGUMENT;
    });
}

int32_t TransportSetRawDataCallback(void *transport, ktSbRawDataCallback callback, void *context) {
    return WithTransport(transport, [&](Transport &found) {
        found.RawData()->Set(callback, context);
        return SABLE_OK;
    });
}

/// An engine that was started with it goes on; its raw data go nowhere.
int32_t TransportDestroy(void *transport) {
    return Guarded([&] {
        const std::shared_ptr<Transport> found = TheFront().transports.TakeOut(transport);
        if (found == nullptr) return SABLE_BAD_ARGUMENT;
        found->RawData()->Set(nullptr, nullptr);
        return SABLE_OK;
    });
}

int32_t EngCreateEngine(void **engine) {
    if (engine == nullptr) return SABLE_BAD_ARGUMENT;
    *engine = nullptr;
    return Guarded([&] {
        Front &front = TheFront();
        *engine = front.engines.Add(std::make_shared<Engine>(front.makeTarget));
        return SABLE_OK;
    });
}

int32_t EngAssignTransport(void *engine, void *transport) {
    return WithEngine(engine, [&](Engine &found) {
        std::shared_ptr<Transport> assigned = TheFront().transports.Find(transport);
        return assigned != nullptr ? found.AssignTransport(std::move(assigned)) : SABLE_BAD_ARGUMENT;
    });
}

int32_t EngSetRequestTimeout(void *engine, uint32_t milliseconds) {
    return WithEngine(engine, [&](Engine &found) { return found.SetTimeout(milliseconds); });
}

int32_t EngSetRequestRetryCount(void *engine, uint32_t count) {
    return WithEngine(engine, [&](Engine &found) {
        found.SetRetryCount(count);
        return SABLE_OK;
    });
}

int32_t EngStart(void *engine) {
    return WithEngine(engine, [](Engine &found) { return found.Start(); });
}

int32_t EngStop(void *engine) {
    return WithEngine(engine, [](Engine &found) { return found.Stop(); });
}

int32_t EngDestroyEngine(void *engine) {
    return Guarded([&] {
        Front &front = TheFront();
        if (front.engines.Find(engine) == nullptr) return SABLE_BAD_ARGUMENT;
        if (EventThread::IsInCallback()) return SABLE_FAILED;
        const std::shared_ptr<Engine> found = front.engines.TakeOut(engine);
        return found != nullptr ? found->Close() : SABLE_BAD_ARGUMENT;
    });
}

int32_t SbSetEventCallback(void *engine, ktSbEventCallback callback, void *context) {
    return WithEngine(engine, [&](Engine &found) {
        found.Events().Set(callback, context);
        return SABLE_OK;
    });
}
