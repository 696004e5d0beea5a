// velmorin: downloads one firmware image to one device. Started with four arguments, or with a job file.
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>

#include "canframe.h"
#include "lock.h"
#include "platform.h"
#include "process.h"
#include "protocol.h"
#include "run.h"
#include "tool.h"

using namespace velmorin;

namespace {

constexpr int kDirectArguments = 5;  // with the program's name

/// Holds the interface's lock to the end of the program, for velmorinctl to see. Never a reason not to go on.
void HoldInterface() {
    const std::string interface = "can" + std::to_string(kBusPort);
    static const Lock lock(interface);
    if (lock.Other()) {
        std::fprintf(stderr, "velmorin: another update is running on %s: %s\n", interface.c_str(),
                     HolderText(*lock.Other()).c_str());
    }
}

/// Text that is not hexadecimal reads as 0.
int HexArgument(const char* text) {
    return static_cast<int>(std::strtoul(text, nullptr, 16));
}

void StartDirect(canframe& session, char** arguments) {
    HoldInterface();
    session.CAN_InitDevice(kBusPort, kBusBitrate);
    const int charge_address = HexArgument(arguments[2]);
    const int device_address = HexArgument(arguments[3]);
    const int update_address = HexArgument(arguments[4]);
    std::printf("chargeaddress:%02x devaddress:%02x updateaddress:%02x\n",
                static_cast<unsigned int>(charge_address), static_cast<unsigned int>(device_address),
                static_cast<unsigned int>(update_address));
    session.SetAddress(PortNumber(charge_address), charge_address, device_address, update_address);
    session.LoadData(arguments[1]);
}

bool StartFromJobFile(canframe& session, const char* program) {
    std::printf("eg:./%s pathdownfile chargeaddress devaddress updateaddress\n", program);
    if (session.LoadFirewareInfo() != 0) return false;
    HoldInterface();
    session.CAN_InitDevice(kBusPort, kBusBitrate);
    session.FirewareUpdateInit();
    return true;
}

}  // namespace

int main(int argc, char** argv) try {
    PrepareProcess();
    platform::AnnounceBench("velmorin");

    tool::Tool_SetInfor("velmorin", "V1.00(00)", "NULL");
    auto session = std::make_unique<canframe>();
    if (argc >= kDirectArguments) {
        StartDirect(*session, argv);
    } else if (!StartFromJobFile(*session, argv[0])) {
        return -1;
    }
    const int signal_number = RunJob(*session);
    if (signal_number != 0) return kSignalStatus + signal_number;
    std::puts("update finished........");
    return 0;
} catch (const std::bad_alloc&) {
    std::fputs("velmorin: out of memory\n", stderr);
    return EXIT_FAILURE;
}
