#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "core/event_thread.h"
#include "core/interface_name.h"

namespace sable {

/// Which machine an engine will talk to, and who gets the bytes that it sends. Any thread.
class Transport {
public:
    /// The only transport that has interfaces: machines inside this process.
    static constexpr uint32_t local = 10;

    /// False for a text that is no interface name.
    bool SetInterface(std::string_view name);
    /// The machine that was chosen, or nothing before that.
    std::optional<MachineSettings> Settings() const;

    /// Whom the bytes go to. An engine may keep it for longer than the transport lives.
    const std::shared_ptr<RawDataSlot> &RawData() const { return rawData; }

    /// A started engine has the transport for itself: false when another one has it.
    bool Take();
    void GiveBack();

private:
    mutable std::mutex lock;
    std::optional<MachineSettings> chosen;
    bool isTaken = false;
    const std::shared_ptr<RawDataSlot> rawData = std::make_shared<RawDataSlot>();
};

} // namespace sable
