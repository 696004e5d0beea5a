// Cells of the staging file as the fields of the records; a NULL cell leaves its field alone.
#pragma once

#include <string>

#include "connection.h"
#include "sendcache.h"

namespace velmorin::sqlite {

/// Lower-case digits, as many as asked for or as the value needs.
std::string HexText(int digits, unsigned int value);

/// Reads two characters a byte; text of odd length reads as 0. What comes after four bytes does not count.
void ReadEightDigits(const char* cell, unsigned int* field);

/// The cells of a `tag_infor` row that a group has fields for, as text.
struct GroupCells {
    const char *state, *address, *canid, *count, *crc32A, *crc32B, *savestamp;
};
/// Appends the group, its queue empty, and returns it.
s_addnode& AppendGroup(const GroupCells& cells, std::list<s_addnode>* cache);

/// The cells of a `tag_data` row that a packet has fields for.
struct PacketCells {
    const char *dataid, *datalen, *data, *savestamp;
};
/// Appends the packet with the identifier of its group.
void AppendPacket(const PacketCells& cells, unsigned int canid, std::deque<s_datanode>* queue);

}  // namespace velmorin::sqlite
