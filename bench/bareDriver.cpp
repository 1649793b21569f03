// SPDX-License-Identifier: MIT
#include "bareDriver.h"

#include "ipc_socket.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <sys/wait.h>

namespace bench {

Folder::Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "tdr-bench-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no temporary folder");
    }
    path = name;
}

BareDriver::BareDriver(const char* program) {
    ipc::PeerOptions options;
    options.path = program;
    options.localId = 1;
    options.localSubId = 1;
    ipc::PeerStart start = ipc::startPeer(options);
    if (start.failure != ipc::PeerFailure::None) {
        throw std::runtime_error(ipc::describe(start.failure));
    }
    peer_ = std::move(start.peer);
    receive(); // the start-up OK
}

BareDriver::~BareDriver() {
    peer_.socket.reset();
    waitpid(peer_.process.pid(), nullptr, 0);
}

void BareDriver::roundTrip() {
    constexpr std::int16_t kUnknownQuery = 1040;
    begin(ipc::kClassInfo, kUnknownQuery);
    send();
    receive();
}

std::int16_t BareDriver::order(std::int16_t code, std::initializer_list<std::int32_t> longs,
                               const char* text) {
    begin(ipc::kClassAction, code);
    packet_.numof_longs = static_cast<std::int32_t>(longs.size());
    std::copy(longs.begin(), longs.end(), packet_.longdata);
    if (text != nullptr) {
        packet_.numof_strings = 1;
        packet_.numof_chars = static_cast<std::int32_t>(std::strlen(text) + 1);
        std::memcpy(packet_.chardata, text, std::strlen(text) + 1);
    }
    send();
    do {
        receive();
    } while (packet_.datacmd[ipc::kWordCode] == ipc::kEventBlockTaken);
    return packet_.datacmd[ipc::kWordCode];
}

void BareDriver::begin(std::int16_t messageClass, std::int16_t code) {
    packet_ = {};
    ipc::fillHeader(packet_, {1, 1, peer_.peerId, peer_.peerSubId}, messageClass, code);
    deadline_ = ipc::deadlineAfter(std::chrono::seconds(20));
}

void BareDriver::send() {
    if (ipc::sendPacket(peer_.socket.get(), packet_, deadline_, -1, &peer_.process) !=
        ipc::SendEnd::Sent) {
        throw std::runtime_error("the driver does not listen");
    }
}

void BareDriver::receive() {
    if (ipc::receivePacket(peer_.socket.get(), packet_, deadline_, -1, &peer_.process).end !=
        ipc::ReadEnd::Complete) {
        throw std::runtime_error("the driver does not answer");
    }
}

} // namespace bench
