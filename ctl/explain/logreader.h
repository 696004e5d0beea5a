// The lines of a text file, a gzip'ed one too, in constant memory.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

struct gzFile_s;

namespace velmorin {

class LogReader {
  public:
    LogReader();
    ~LogReader();
    LogReader(const LogReader&) = delete;
    LogReader& operator=(const LogReader&) = delete;

    /// Opens `path`, or standard input for "-". Empty, or why not.
    std::string Open(const std::string& path);
    /// The next line without its newline; the view holds until the next call. A line longer than
    /// the buffer comes as its beginning and then as empty lines. False at the end, or where reading failed.
    /// Blocks like read().
    bool Next(std::string_view* line);
    /// Why reading ended early: a failed read, or a gzip'ed file that was cut. Empty at a true end.
    const std::string& trouble() const { return trouble_; }
    /// Bytes of text so far.
    std::uint64_t bytes() const { return bytes_; }

  private:
    bool Fill();

    gzFile_s* file_ = nullptr;
    std::vector<char> buffer_;
    std::size_t begin_ = 0;  // what is read and not yet given lies between these two
    std::size_t end_ = 0;
    bool over_ = false;
    bool skipping_ = false;  // the rest of a line that was too long
    std::uint64_t bytes_ = 0;
    std::string trouble_;
};

}  // namespace velmorin
