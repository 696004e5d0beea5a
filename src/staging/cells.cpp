#include "cells.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "protocol.h"
#include "tool.h"

namespace velmorin::sqlite {
namespace {

constexpr int kDecodedBytes = 64;

/// Decodes at most as many digits as `bytes` has room for. Text of odd length decodes to nothing, and what is
/// not decoded is 0.
void Decode(const char* text, unsigned char (&bytes)[kDecodedBytes]) {
    std::memset(bytes, 0, sizeof bytes);
    const std::size_t length = std::strlen(text);
    const std::size_t room = 2 * kDecodedBytes - length % 2;  // odd stays odd
    int count = 0;
    tool::Tool_StringToHex(text, static_cast<int>(std::min(length, room)), bytes, &count);
}

}  // namespace

std::string HexText(int digits, unsigned int value) {
    char text[16];
    std::snprintf(text, sizeof text, "%0*x", digits, value);
    return text;
}

void ReadEightDigits(const char* cell, unsigned int* field) {
    if (cell == nullptr) return;
    unsigned char bytes[kDecodedBytes];
    Decode(cell, bytes);
    *field = 0;
    for (int i = 0; i < 4; ++i) *field = *field << 8 | bytes[i];
}

s_addnode& AppendGroup(const GroupCells& cells, std::list<s_addnode>* cache) {
    s_addnode& group = cache->emplace_back();
    group.addrstate = kAddressMissing;
    ReadNumber(cells.state, 10, &group.state);
    ReadNumber(cells.address, 16, &group.address);
    ReadEightDigits(cells.canid, &group.canid);
    ReadNumber(cells.count, 10, &group.count);
    ReadEightDigits(cells.crc32A, &group.crc32A);
    ReadEightDigits(cells.crc32B, &group.crc32B);
    ReadNumber(cells.savestamp, 10, &group.savestamp);
    return group;
}

void AppendPacket(const PacketCells& cells, unsigned int canid, std::deque<s_datanode>* queue) {
    s_datanode& packet = queue->emplace_back();
    packet.frame.can_id = canid | CAN_EFF_FLAG;
    ReadNumber(cells.dataid, 10, &packet.dataid);
    ReadNumber(cells.datalen, 10, &packet.frame.can_dlc);
    ReadNumber(cells.savestamp, 10, &packet.savestamp);
    if (cells.data == nullptr) return;
    unsigned char bytes[kDecodedBytes];
    Decode(cells.data, bytes);
    std::copy_n(bytes, sizeof packet.frame.data, packet.frame.data);
}

}  // namespace velmorin::sqlite
