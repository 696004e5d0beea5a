// Small routines that the whole updater shares: waits, files, hexadecimal text, the banner, the checksums.
#pragma once

namespace velmorin {

/// A trace switch of the environment: 1 when it is exactly "ON", else 0. Prints which one, unless it is unset
/// or empty.
int TraceSwitch(const char* name);

}  // namespace velmorin

/// No data, only static routines. None ends the process or throws; only the delays block.
class tool {
  public:
    /// Sleeps; a signal neither cuts the wait short nor lengthens it. 0, or negative when the wait itself
    /// failed.
    static int Tool_Delayms(unsigned long milliseconds);
    static int Tool_Delays(unsigned int seconds);

    /// The file's size in bytes. 0 when it cannot be examined, with "file:" and the system's reason on
    /// standard error; so is a file of 2 GiB or more, whose size no 32-bit field could hold ("File too
    /// large").
    static int Tool_GetFileSize(const char* path);
    /// 1 when something exists at the path, of whatever kind, else 0.
    static int Tool_CheckNodeIsExit(const char* path);

    /// 1 when the environment variable is exactly "ON", else 0.
    static int Tool_debug(const char* name);

    /// Appends two lower-case digits a byte to `text`, an empty string with room for 2 × count + 1
    /// characters, and stores 2 × count in `length`. Always 0. Nothing happens to the text for a count of 0.
    static int Tool_HexToString(const unsigned char* bytes, int count, char* text, int* length);
    /// Reads two characters a byte, as strtol reads each pair in base 16, into `bytes`, which has room for
    /// length / 2, and stores that number in `count`. 0; -1 when `length` is odd, with the line "error" on
    /// standard output and both outputs untouched.
    static int Tool_StringToHex(const char* text, int length, unsigned char* bytes, int* count);

    /// Prints the six banner lines: name, version, owner and when the program was built.
    static int Tool_SetInfor(const char* processName, const char* version, const char* owner);

    /// CRC A: CRC-32/MPEG-2 (polynomial 0x04C11DB7, initial value 0xFFFFFFFF, not reflected, no final XOR)
    /// over little-endian 32-bit words, each fed most significant byte first. 0xFFFFFFFF, which a real
    /// checksum may be too, for no data and for a length that is no multiple of 4.
    static unsigned int crc32_planA(const unsigned char* data, unsigned long length);
    /// CRC B: the CRC-32 of IEEE 802.3 (reflected polynomial 0xEDB88320, initial value and final XOR
    /// 0xFFFFFFFF). 0 for no data.
    static unsigned int crc32_planB(const unsigned char* data, unsigned int length);
};
