// Text files: reading and writing of a CStringList.

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "CStringList.h"
#include "file.h"

using velmorin::File;

namespace {

bool EndsLine(char c) {
    return c == '\n' || c == '\r' || c == '\0';
}

}  // namespace

bool CStringList::LoadFromFile(const CString& path) {
    const CString kept = path.GetCString();  // path may be one of the texts that go
    return Clear().AppendFromFile(kept);
}

bool CStringList::AppendFromFile(const CString& path) {
    const File file(std::fopen(path.GetCString(), "rb"));
    if (!file) return false;

    std::array<char, 64 * 1024> block;
    std::unique_ptr<CString> line;  // the one being read, null between lines
    bool after_cr = false;
    std::size_t size = 0;
    do {
        size = std::fread(block.data(), 1, block.size(), file.get());
        const char* const end = block.data() + size;
        for (const char* at = block.data(); at != end;) {
            if (std::exchange(after_cr, false) && *at == '\n') {
                ++at;
                continue;
            }
            const char* const stop = std::find_if(at, end, EndsLine);
            if (!line) line = std::make_unique<CString>();
            line->GetString().append(at, stop);
            if (stop == end) break;
            after_cr = *stop == '\r';
            items.push_back(std::exchange(line, nullptr));
            at = stop + 1;
        }
    } while (size == block.size());

    if (std::ferror(file.get())) return false;
    if (line) items.push_back(std::move(line));
    return true;
}

bool CStringList::SaveToFile(const CString& path) const {
    const File file(std::fopen(path.GetCString(), "wb"));
    if (!file) return false;
    for (const auto& item : items) {
        std::fwrite(item->GetCString(), 1, item->GetString().size(), file.get());
        std::fputc('\n', file.get());
    }
    return true;
}
