// SPDX-License-Identifier: MIT
// The requests that use the host's block, which is attached, announced and checked before they are
// carried out and answered.
#include "driverRequest.h"

#include "IPC_LinkIrix.h"
#include "IPC_SharedMem.h"
#include "base/checkedMath.h"

namespace {

/// The host's shared block, attached while the object exists.
class AttachedBlock {
  public:
    AttachedBlock(int size, int key, int id, std::size_t& realBytes)
        : realBytes_(realBytes), key_(key), id_(id), address_(shmem_malloc(size, &key_, &id_)) {
        realBytes_ = address_ == nullptr ? 0 : shmem_size(id_);
    }
    ~AttachedBlock() {
        realBytes_ = 0;
        if (address_ != nullptr) {
            shmem_free(address_, id_);
        }
    }
    AttachedBlock(const AttachedBlock&) = delete;
    AttachedBlock& operator=(const AttachedBlock&) = delete;

    [[nodiscard]] bool attached() const { return address_ != nullptr; }
    [[nodiscard]] char* bytes() const { return static_cast<char*>(address_); }

  private:
    std::size_t& realBytes_;
    int key_;
    int id_;
    void* address_;
};

bool runsCommandsAroundTransfers(std::int32_t accessModes) {
    return (accessModes & ipc::kAccessNoCommands) == 0;
}

} // namespace

bool TDR_Driver::mayTransfer(Transfer transfer, long line) const {
    if (!isOpenFor(transfer)) {
        return false;
    }
    const std::optional<std::size_t> lineBytes = declaredLineBytes(transfer);
    if (!lineBytes) {
        return true;
    }
    const bool one = transfer == Transfer::GetLine || transfer == Transfer::PutLine;
    const auto need = one ? lineBytes : base::checkedProduct(*lineBytes, bounds[3]);
    return need && blockBytes >= *need && (!one || (line >= 0 && line < bounds[3]));
}

/// Before a get request: a new cell runs the pre-read command.
void TDR_Driver::enterCell(std::int32_t cell) {
    if (cellChanged == 0 && cell == currentCell) {
        return;
    }
    // Kept: A cell that was set by request stays marked as changed.
    // A reader would expect the mark to be cleared once the cell was read. It stays, so every later
    // get request runs the pre-read command.
    currentCell = cell;
    if (runsCommandsAroundTransfers(accessModes)) {
        runAround(&TDR_Driver::executePreReadCommand);
    }
}

template <class Operation>
int TDR_Driver::BlockRequests::get(TDR_Driver& d, const Request& r, std::int32_t cell,
                                   Operation operation) {
    const AttachedBlock block(r.size(), r.key(), r.id(), d.blockBytes);
    if (!block.attached()) {
        return d.sendError();
    }
    d.enterCell(cell);
    return d.answer([&] { return operation(block.bytes()); });
}

template <class Operation, class Due>
int TDR_Driver::BlockRequests::put(TDR_Driver& d, const Request& r, Operation operation,
                                   Due postWriteIsDue) {
    int result = 0;
    {
        const AttachedBlock block(r.size(), r.key(), r.id(), d.blockBytes);
        if (!block.attached()) {
            return d.sendError();
        }
        if (d.link) { // the contents are about to be stored
            d.link->clearData(ipc::kClassEvent, ipc::kEventBlockTaken, &d.data);
            d.link->transmit(&d.data, 0);
        }
        result = d.answer([&] { return operation(block.bytes()); });
    }
    if (postWriteIsDue() && runsCommandsAroundTransfers(d.accessModes)) {
        d.runAround(&TDR_Driver::executePostWriteCommand);
    }
    return result;
}

int TDR_Driver::BlockRequests::getCache(TDR_Driver& d, const Request& r) {
    return get(d, r, r.cell(), [&](char* block) {
        return d.mayTransfer(Transfer::GetCache) ? d.getCache(block, r.size(), d.currentCell) : -1;
    });
}

int TDR_Driver::BlockRequests::getLine(TDR_Driver& d, const Request& r) {
    return get(d, r, r.cellAfterLine(), [&](char* block) {
        return d.mayTransfer(Transfer::GetLine, r.line())
                   ? d.getLine(block, r.size(), r.cellAfterLine(), r.line())
                   : -1;
    });
}

int TDR_Driver::BlockRequests::getStamp(TDR_Driver& d, const Request& r) {
    return get(d, r, r.cell(), [&](char* block) { return d.getStamp(block, r.size(), r.cell()); });
}

int TDR_Driver::BlockRequests::putCache(TDR_Driver& d, const Request& r) {
    const auto store = [&](char* block) {
        d.currentCell = r.cell();
        return d.mayTransfer(Transfer::PutCache) ? d.putCache(block, r.size(), r.cell()) : -1;
    };
    return put(d, r, store, [] { return true; });
}

int TDR_Driver::BlockRequests::putLine(TDR_Driver& d, const Request& r) {
    const auto store = [&](char* block) {
        d.currentCell = r.cellAfterLine();
        return d.mayTransfer(Transfer::PutLine, r.line())
                   ? d.putLine(block, r.size(), r.cellAfterLine(), r.line())
                   : -1;
    };
    return put(d, r, store, [&] { return std::int64_t{r.line()} + 1 == d.bounds[3]; });
}

int TDR_Driver::BlockRequests::putStamp(TDR_Driver& d, const Request& r) {
    const auto store = [&](char* block) { return d.putStamp(block, r.size(), r.cell()); };
    return put(d, r, store, [] { return false; });
}
