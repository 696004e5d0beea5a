#include "CCharset.h"

#include <cstring>
#include <ostream>

#include "bytes.h"

using velmorin::Bytes;
using velmorin::ByteValue;

CCharset::CCharset() : charset{} {}
CCharset::CCharset(const CString& members) : charset{}, alphabet(members) {
    UpdateCharset();
}
CCharset::CCharset(const CCharset& other) : charset{}, alphabet(other.alphabet) {
    UpdateCharset();
}
CCharset& CCharset::operator=(const CCharset& other) = default;
CCharset::~CCharset() = default;

void CCharset::UpdateCharset() {
    charset.fill(0);
    for (const char c : Bytes(alphabet)) charset[ByteValue(c)] = 1;
}

void CCharset::UpdateAlphabet() {
    alphabet.Clear();
    for (int value = 0; value < 256; ++value) {
        const char c = static_cast<char>(value);
        if (Isset(c)) alphabet += c;
    }
}

bool CCharset::Isset(char c) const {
    return charset[ByteValue(c)] != 0;
}
char CCharset::GetChar(char c) const {
    return Isset(c) ? c : '\0';
}

void CCharset::SetChar(char c) {
    charset[ByteValue(c)] = 1;
    UpdateAlphabet();
}

void CCharset::UnsetChar(char c) {
    charset[ByteValue(c)] = 0;
    UpdateAlphabet();
}

CString CCharset::GetAlphabet() const {
    return alphabet;
}

void CCharset::SetAlphabet(const CString& members) {
    alphabet = members;
    UpdateCharset();
}

void CCharset::Print(std::ostream& out) const {
    const char* const shown = alphabet.GetCString();
    out.write(shown, static_cast<std::streamsize>(std::strlen(shown)));
}
