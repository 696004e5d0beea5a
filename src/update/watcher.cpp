#include "watcher.h"

namespace velmorin {

const char* QuestionText(Question question) {
    switch (question) {
        case Question::kStartDownload:
            return "start download";
        case Question::kAddressRequest:
            return "address request";
        case Question::kGroupStart:
            return "group start";
        case Question::kGroupEnd:
            return "group end";
        case Question::kProgramCheck:
            return "program check";
        case Question::kReset:
            return "reset";
    }
    return "";
}

}  // namespace velmorin
