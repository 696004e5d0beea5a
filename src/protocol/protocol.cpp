#include "protocol.h"

namespace velmorin {

const char* ResultText(int result) {
    switch (static_cast<ResultCode>(result)) {
        case kResultOpen:
            return "open";
        case kResultSuccess:
            return "success";
        case kResultHeartbeat:
            return "heartbeat out of sequence";
        case kResultAddressBytes:
            return "reply of another device";
        case kResultStartAddress:
            return "wrong start address echoed";
        case kResultErase:
            return "device could not erase";
        case kResultProgramCheck:
            return "image refused by the device";
        case kResultResetDone:
            return "reset done";
        case kResultResetFailed:
            return "reset failed";
        case kResultVersion:
            return "version check failed";
        case kResultRefused:
            return "download refused by the device";
        case kResultGroupRejected:
            return "a group was refused three times";
        case kResultInterrupted:
            return "interrupted";
        case kResultSilent:
            return "device did not answer";
        case kResultBusLost:
            return "bus lost";
    }
    return "unknown";
}

}  // namespace velmorin
