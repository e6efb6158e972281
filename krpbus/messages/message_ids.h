// What the requests of the bus ask for, by name. An answer carries the id of its request.
#pragma once

#include "krpbus/messages/krp_message.h"

enum KrpRequestId : krpMsgID_t {
    KRP_GET_LOGGER_STATUS = 23,     // one byte: how the logger is
    KRP_GET_EVENT_LIST = 50,        // the events since a place in the list
    KRP_GET_TIME_ZONE = 53,         // a text: "Europe/Berlin"
    KRP_GET_BUS_NAMES = 81,         // the buses, all or those in use
    KRP_GET_LOGGER_CONFIG = 82,     // two texts: the configuration's name, the logger's name
    KRP_GET_RC_MONITOR_NAMES = 83,  // the screens of the remote-control monitor
    KRP_GET_AUDIO_LIST = 86,        // the audio files that the logger keeps
    KRP_SET_AUDIO_FILE = 87,        // a new audio file, or one for a marker
    KRP_GET_KSL_NEIGHBOURS = 88,    // texts: the addresses of the other loggers of the network
    KRP_GET_KSL_TIME_OFFSET =
        89,                    // 64 bits: the clock against that of the network, in microseconds
    KRP_GET_EVENT_INDEX = 96,  // how many events there are
    KRP_GET_DEVICE_COMPONENTS = 117,  // what kind of device this is, and its software
    KRP_GET_LV_SIGNAL_CONFIG = 137,   // the signals that can be looked at live
};
