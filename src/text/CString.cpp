#include "CString.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ostream>

static std::string Exponential(double number) {
    char buffer[32];
    std::snprintf(buffer, sizeof buffer, "%e", number);
    return buffer;
}

CString::CString() : eol(EOL_LF) {}
CString::CString(char c) : text(1, c), eol(EOL_LF) {}
CString::CString(const char* s) : text(s), eol(EOL_LF) {}
CString::CString(const std::string& str) : text(str), eol(EOL_LF) {}
CString::CString(const CString& o) : text(o.text), eol(EOL_LF) {}
CString::~CString() = default;

std::string& CString::GetString() {
    return text;
}
std::string CString::GetString() const {
    return text;
}
const char* CString::GetCString() const {
    return text.c_str();
}
int CString::GetLength() const {
    return static_cast<int>(std::min<std::size_t>(text.size(), INT_MAX));
}
bool CString::IsEmpty() const {
    return text.empty();
}

CString& CString::SetLength() {
    text.resize(std::strlen(text.c_str()));
    return *this;
}

CString& CString::SetLength(int n) {
    text.resize(static_cast<std::size_t>(std::max(n, 0)));
    return *this;
}

CString& CString::Clear() {
    text.clear();
    return *this;
}

CString& CString::Fill(char c) {
    std::fill(text.begin(), text.end(), c);
    return *this;
}

char CString::GetChar(int i) const {
    return i >= 0 && static_cast<std::size_t>(i) < text.size() ? (*this)[i] : '\0';
}

char CString::GetFirstChar() const {
    return text.empty() ? '\0' : text.front();
}
char CString::GetLastChar() const {
    return text.empty() ? '\0' : text.back();
}

CString& CString::SetChar(int i, char c) {
    if (i >= 0 && static_cast<std::size_t>(i) < text.size()) (*this)[i] = c;
    return *this;
}

char& CString::operator[](int i) {
    return text[static_cast<std::size_t>(i)];
}
char CString::operator[](int i) const {
    return text[static_cast<std::size_t>(i)];
}

CString& CString::Assign(char c) {
    text.assign(1, c);
    return *this;
}

CString& CString::Assign(const char* s) {
    text.assign(s);
    return *this;
}

CString& CString::Assign(const std::string& str) {
    text = str;
    return *this;
}

CString& CString::Assign(const CString& o) {
    text = o.text;
    return *this;
}

CString& CString::operator=(char c) {
    return Assign(c);
}
CString& CString::operator=(const char* s) {
    return Assign(s);
}
CString& CString::operator=(const std::string& str) {
    return Assign(str);
}
// cppcheck-suppress operatorEqVarError ; the target keeps its own line end
CString& CString::operator=(const CString& o) {
    return Assign(o);
}

CString& CString::Append(char c) {
    text += c;
    return *this;
}

CString& CString::Append(const char* s) {
    text += s;
    return *this;
}

CString& CString::Append(const CString& o) {
    text += o.text;
    return *this;
}

CString& CString::operator+=(char c) {
    return Append(c);
}
CString& CString::operator+=(const char* s) {
    return Append(s);
}
CString& CString::operator+=(const CString& o) {
    return Append(o);
}

CString& CString::operator=(int number) {
    return Assign(std::to_string(number));
}
CString& CString::operator=(long long number) {
    return Assign(std::to_string(number));
}
CString& CString::operator=(float number) {
    return Assign(Exponential(static_cast<double>(number)));
}
CString& CString::operator=(double number) {
    return Assign(Exponential(number));
}
CString& CString::operator+=(int number) {
    return Append(std::to_string(number));
}
CString& CString::operator+=(long long number) {
    return Append(std::to_string(number));
}
CString& CString::operator+=(float number) {
    return Append(Exponential(static_cast<double>(number)));
}
CString& CString::operator+=(double number) {
    return Append(Exponential(number));
}

CString& CString::AppendCR() {
    return Append('\r');
}
CString& CString::AppendLF() {
    return Append('\n');
}
CString& CString::AppendCRLF() {
    return Append("\r\n");
}

CString& CString::AppendEOL() {
    switch (eol) {
        case EOL_CR:
            return AppendCR();
        case EOL_LF:
            return AppendLF();
        case EOL_CRLF:
            return AppendCRLF();
    }
    return *this;
}

CString& CString::SetEOL(eol_t e) {
    eol = e;
    return *this;
}

CString CString::GetEOL() const {
    return CString().AppendEOL();
}

bool CString::operator==(const char* s) const {
    return std::strcmp(text.c_str(), s) == 0;
}
bool CString::operator==(const std::string& str) const {
    return *this == str.c_str();
}
bool CString::operator==(const CString& o) const {
    return *this == o.text.c_str();
}

int CString::GetInteger() const {
    const long long value = std::strtoll(text.c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long long>(value, INT_MIN, INT_MAX));
}

unsigned long CString::GetUnsignedInteger() const {
    constexpr long long kLimit = UINT32_MAX;
    const long long value = std::strtoll(text.c_str(), nullptr, 10);
    return value > kLimit || value < -kLimit ? UINT32_MAX : static_cast<std::uint32_t>(value);
}

double CString::GetFloat() const {
    return std::strtod(text.c_str(), nullptr);
}

std::ostream& CString::Print(std::ostream& out) const {
    return out.write(text.data(), static_cast<std::streamsize>(text.size()));
}
