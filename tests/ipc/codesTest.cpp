// SPDX-License-Identifier: MIT
// The numbers and names of the protocol are those of its document.
#include "IPC_Codes.h"

#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <string>

namespace {

/// The beginnings of the rows of a document's tables, of two and of three cells: "| 2/201 | kill
/// |".
std::set<std::string> rowsOf(const char* path) {
    std::set<std::string> rows;
    std::ifstream document(path);
    for (std::string line; std::getline(document, line);) {
        const std::size_t second = line.find('|', line.find('|', 1) + 1);
        const std::size_t third = line.find('|', second + 1);
        for (const std::size_t end : {second, third}) {
            if (line.starts_with('|') && end != std::string::npos) {
                rows.insert(line.substr(0, end + 1));
            }
        }
    }
    return rows;
}

TEST(Codes, AndCapacitiesAreThoseOfTheDocument) {
    const std::set<std::string> rows = rowsOf(TDR_SOURCE_DIR "/docs/protocol.md");
    const auto expectRow = [&](const std::string& number, std::string_view name) {
        const std::string row = "| " + number + " | " + std::string(name) + " |";
        EXPECT_TRUE(rows.contains(row)) << row;
    };
    for (std::size_t number = 0; number < std::size(ipc::kClassNames); ++number) {
        expectRow(std::to_string(number), ipc::kClassNames[number]);
    }
    for (const ipc::Message& message : ipc::kMessages) {
        const std::string code = std::to_string(message.code);
        const bool own = rows.contains("| " + code + " | " + std::string(message.name) + " |");
        expectRow(own ? code : std::to_string(message.messageClass) + "/" + code, message.name);
    }
    const std::pair<const char*, int> lists[] = {
        {"| command words | 16-bit signed | ", ipc::kMaxCommands},
        {"| characters | bytes | ", ipc::kMaxChars},
        {"| longs | 32-bit signed | ", ipc::kMaxLongs},
        {"| floats | IEEE single | ", ipc::kMaxFloats},
    };
    for (const auto& [list, capacity] : lists) {
        EXPECT_TRUE(rows.contains(list + std::to_string(capacity) + " |")) << list;
    }
}

} // namespace
