// SPDX-License-Identifier: MIT
// What the measurements of the link share: a driver without the host library, a folder, and results
// of that library that must be good.
#pragma once

#include "ipc_peer.h"
#include "ipc_wire.h"
#include "tdr/result.h"

#include <cstdint>
#include <filesystem>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <utility>

namespace bench {

inline constexpr const char* kNullFilter = TDR_BIN_DIR "/nullFilter";
inline constexpr const char* kSoftimageFilter = TDR_BIN_DIR "/softimageFilter";

template <typename T>
T must(tdr::Result<T> result) {
    if (!result) {
        throw std::runtime_error(result.failure().text());
    }
    return std::move(*result);
}
inline void must(const tdr::Status& status) {
    if (!status) {
        throw std::runtime_error(status.failure().text());
    }
}

/// A folder for files, removed with the object.
struct Folder {
    std::filesystem::path path;
    Folder();
    ~Folder() { std::filesystem::remove_all(path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
};

/// A driver over the host library's wire, but without that library. Ends with the object.
class BareDriver {
  public:
    explicit BareDriver(const char* program);
    ~BareDriver();
    BareDriver(const BareDriver&) = delete;
    BareDriver& operator=(const BareDriver&) = delete;

    /// Asks for something unknown, which is answered with the empty error reply.
    void roundTrip();

    /// Sends a request and returns the code of the answer.
    std::int16_t order(std::int16_t code, std::initializer_list<std::int32_t> longs,
                       const char* text = nullptr);

  private:
    void begin(std::int16_t messageClass, std::int16_t code);
    void send();
    void receive();

    ipc::Peer peer_;
    ipc::Deadline deadline_;
    IPC_DataPacket packet_{};
};

} // namespace bench
