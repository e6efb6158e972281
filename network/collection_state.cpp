#include "network/collection_state.h"

#include <ostream>

std::ostream& operator<<(std::ostream& out, kslMsgState_t state) {
    switch (state) {
        case KSL_MSG_STATE_EMPTY:
            return out << "KSL_MSG_STATE_EMPTY";
        case KSL_MSG_STATE_UPDATE:
            return out << "KSL_MSG_STATE_UPDATE";
        case KSL_MSG_STATE_COMPLETE:
            return out << "KSL_MSG_STATE_COMPLETE";
    }
    return out << "unknown";
}
