// The open channels of this process by handle.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "framework/core/channel.h"

namespace CORE {

class ChannelTable {
  public:
    void setCarrier(std::shared_ptr<ChannelCarrier> carrier);
    std::shared_ptr<ChannelCarrier> carrier() const;

    void add(const std::shared_ptr<MessageChannel>& channel);
    void remove(const std::shared_ptr<MessageChannel>& channel);
    std::shared_ptr<MessageChannel> find(std::uint64_t handle) const;  // null when none is open under it
    std::size_t size() const;

  private:
    mutable std::mutex mutex_;
    std::shared_ptr<ChannelCarrier> carrier_;
    std::map<std::uint64_t, std::shared_ptr<MessageChannel>> channels_;
    std::uint64_t lastHandle_ = 0;
};

}  // namespace CORE
