#include "canframe.h"

#include <cstdio>
#include <cstring>

#include "Packdata.h"
#include "db.h"
#include "elapsed.h"
#include "tool.h"

using namespace velmorin;

canframe::canframe() : m_debug(Can_Debugeable()) {}

canframe::~canframe() {
    if (m_canhandle != nullptr) CAN_Close(m_canhandle);
}

int canframe::Can_Debugeable() {
    return TraceSwitch("CAN_UPDATE");
}

int canframe::CAN_InitDevice(unsigned int port, int bitrate) {
    m_canhandle = CAN_Init(static_cast<int>(port), bitrate);
    return m_canhandle != nullptr ? 0 : -1;
}

int canframe::SetAddress(int port, int chargeaddress, int devtype, int updateaddress) {
    m_canport = port;
    m_chargeaddress = chargeaddress;
    m_devtype = devtype;
    m_updateaddress = updateaddress;
    gettimeofday(&m_starttime, nullptr);
    return 0;
}

int canframe::FirewareUpdateInit() {
    gettimeofday(&m_starttime, nullptr);
    return LoadData(m_firewarename.c_str());
}

int canframe::LoadData(const char* path) {
    PackData packer;
    m_firewaretype = FirewareType(path);
    m_history = {};
    packer.Pack_Init(m_canport, m_chargeaddress, m_devtype, m_updateaddress);
    const int result = packer.Pack_RuningV2(path, &m_history, &m_addlist);
    if (result != 0) std::printf("ERROR: %d,fireware %s Open Failed!\n", result, path);
    m_filesize = packer.Pack_GetFileSize();
    m_crcA = packer.Pack_GetcrcA();
    m_crcB = packer.Pack_GetcrcB();
    if (m_debug == 1) std::printf("crcA:%08x crcB:%08x\n", m_crcA, m_crcB);
    return 0;
}

int canframe::FirewareType(const char* path) {
    return std::strstr(path, ".tar.gz") != nullptr || std::strstr(path, ".TAR.GZ") != nullptr ? 1 : 0;
}

int canframe::CacheClean() {
    m_addlist.clear();
    return 0;
}

int canframe::UpdateRecord() {
    gettimeofday(&m_endtime, nullptr);
    m_history.timeuse = ElapsedMs(m_starttime, m_endtime);
    std::printf("time use = %ld ms\n", static_cast<long>(m_history.timeuse));
    std::printf("error code:%d\n", m_errorcode);
    db().DB_RecordHistory(m_errorcode, m_history.timeuse, m_history.timestamp, kStagingFile, nullptr);
    return 0;
}
