#include "tests/krpbus/messages/message_samples.h"

#include "krpbus/messages/busload_message.h"
#include "krpbus/messages/gps_trace_message.h"
#include "krpbus/messages/keyboard_message.h"
#include "krpbus/messages/krp_get_audio_list.h"
#include "krpbus/messages/krp_get_bus_names.h"
#include "krpbus/messages/krp_get_device_components.h"
#include "krpbus/messages/krp_get_event_index.h"
#include "krpbus/messages/krp_get_event_list.h"
#include "krpbus/messages/krp_get_lv_signal_config.h"
#include "krpbus/messages/krp_get_rc_monitor_names.h"
#include "krpbus/messages/krp_set_audio_file.h"
#include "krpbus/messages/router_message.h"
#include "krpbus/messages/signal_message.h"
#include "krpbus/messages/simple_messages.h"
#include "krpbus/messages/system_message.h"
#include "krpbus/messages/system_ng_event_message.h"
#include "krpbus/messages/system_set_state_message.h"

namespace {

using Samples = std::vector<MessageSample>;

void addRequests(Samples& samples) {
    samples.push_back({"request 23", std::make_unique<SimpleMessageRequest<23>>()});
    samples.push_back(
        {"request 50", std::make_unique<Simple1MessageRequest<50, unsigned char>>(3)});
    samples.push_back({"request 53", std::make_unique<SimpleMessageRequest<53>>()});
    samples.push_back(
        {"request 81", std::make_unique<Simple1MessageRequest<81, unsigned char>>(1)});
    samples.push_back({"request 82", std::make_unique<SimpleMessageRequest<82>>()});
    samples.push_back({"request 83", std::make_unique<SimpleMessageRequest<83>>()});
    samples.push_back({"request 86", std::make_unique<SimpleMessageRequest<86>>()});
    samples.push_back(
        {"request 87", std::make_unique<KRPRequestSetAudioFile>(258, 772, "/tmp/1.wav", "m1")});
    samples.push_back({"request 88", std::make_unique<SimpleMessageRequest<88>>()});
    samples.push_back({"request 89", std::make_unique<SimpleMessageRequest<89>>()});
    samples.push_back(
        {"request 96", std::make_unique<Simple1MessageRequest<96, unsigned char>>(3)});
    samples.push_back({"request 117", std::make_unique<SimpleMessageRequest<117>>()});
    samples.push_back({"request 137", std::make_unique<SimpleMessageRequest<137>>()});
}

void addSimpleAnswers(Samples& samples) {
    samples.push_back(
        {"answer 23", std::make_unique<Simple1MessageResponse<23, unsigned char>>(2)});
    samples.push_back(
        {"answer 53", std::make_unique<StringMessageResponse<53, 1>>("Europe/Berlin")});
    samples.push_back(
        {"answer 82", std::make_unique<String2MessageResponse<82>>("config 7", "Car 1")});
    samples.push_back({"answer 87", std::make_unique<SimpleMessageResponse<87>>()});
    samples.push_back({"answer 88", std::make_unique<StringVectorMessageResponse<88>>(
                                        std::vector<std::string>{"02:00:00:00:00:02", ""})});
    samples.push_back(
        {"answer 89", std::make_unique<Simple1MessageResponse<89, long long>>(-1'500'000)});
    samples.push_back({"answer 96", std::make_unique<KRPResponseGetEventIndex>(3, -2)});
    samples.push_back(
        {"answer 117", std::make_unique<KRPResponseGetDeviceComponents>(16, 22, "1.2", "Relay")});

    auto busy = std::make_unique<SimpleMessageResponse<87>>();
    busy->setError(KRPMessageResponse::KRPSTATUS_ERROR, errorCode_t::Busy, "try again");
    samples.push_back({"failed answer 87", std::move(busy)});
}

void addListAnswers(Samples& samples) {
    using Events = std::vector<KRPResponseGetEventList::event_t>;
    samples.push_back({"answer 50", std::make_unique<KRPResponseGetEventList>(
                                        Events{{1'700'000'000'000'000, "UTC+1", -5, "m1"}})});
    using Buses = std::vector<KRPResponseGetBusNames::busName_t>;
    samples.push_back({"answer 81", std::make_unique<KRPResponseGetBusNames>(
                                        Buses{{BUSID_CAN, 0, 0, "Powertrain"},
                                              {static_cast<busid_t>(15), 255, 3, ""}})});
    using Monitors = std::vector<KRPResponseGetRCMonitorNames::rcMonitor_t>;
    samples.push_back({"answer 83", std::make_unique<KRPResponseGetRCMonitorNames>(
                                        Monitors{{0, "Overview"}, {9, "Tyres"}})});
    using Files = std::vector<KRPResponseGetAudioList::audioFile_t>;
    samples.push_back({"answer 86", std::make_unique<KRPResponseGetAudioList>(
                                        Files{{1, 4'000'000'000, "a.wav", "m1"}})});
    KRPResponseGetLVSignalConfig::signalConfig_t gear;
    gear.instanceName = "GEAR";
    gear.webappName = "Gear";
    gear.userName = "my gear";
    gear.unit = "-";
    gear.busId = BUSID_CAN;
    gear.channel = 1;
    gear.kslOffset = 2;
    gear.valueType = SIGNALVALUE_UNSIGNED;
    gear.scale = 0.5;
    gear.offset = -1.0;
    gear.valueDescriptionTable = {{0, "N"}, {0xFFFFFFFFFFFFFFFF, "R"}};
    samples.push_back(
        {"answer 137", std::make_unique<KRPResponseGetLVSignalConfig>(std::vector{gear})});
}

void addSystemMessages(Samples& samples) {
    samples.push_back(
        {"SystemMessage", std::make_unique<SystemMessage>(SystemMessage::SM_STATE, "1-config")});
    samples.push_back({"SystemNgEventMessage",
                       std::make_unique<SystemNgEventMessage>(
                           1'700'000'000'000'001, EVENTID_TRIGGER_SET, 1'700'000'000'000'000,
                           "UTC+1", "m1", 258, SystemMessage::NOT_AVAILABLE)});
    samples.push_back({"SystemSetStateKrpBusMessage", std::make_unique<SystemSetStateKrpBusMessage>(
                                                          KRPBus::statusNames[2], "", 0)});
}

void addLiveData(Samples& samples) {
    auto signal = std::make_unique<SignalMessage>();
    signal->timestamp = 1'700'000'000'000'000;
    signal->instanceName = "GEAR";
    signal->webappName = "Gear";
    signal->unit = "-";
    signal->value = "3";
    signal->raw = 8;
    signal->phys = 3.0;
    signal->descr = "third";
    samples.push_back({"SignalMessage", std::move(signal)});

    auto load = std::make_unique<BusLoadExtMessage>();
    load->busId = BUSID_CAN;
    load->channel = 1;
    load->kslOffset = 2;
    load->value = BusLoadExtMessage::kUnknown;
    load->timestamp = 1'700'000'000'000'000;
    load->unit = BusLoadExtMessage::UNIT_PERCENT;
    samples.push_back({"BusLoadExtMessage", std::move(load)});

    auto most = std::make_unique<BusLoadExtMessage>();
    most->busId = BUSID_MOST150;
    most->most = BusLoadExtMessage::most_t{7,
                                           BusLoadExtMessage::MOSTLOCK_LOCK,
                                           BusLoadExtMessage::MOSTLOCK_UNLOCK,
                                           true,
                                           1,
                                           2,
                                           3,
                                           4,
                                           5,
                                           6,
                                           7,
                                           8};
    samples.push_back({"BusLoadExtMessage of a MOST bus", std::move(most)});

    auto position = std::make_unique<GPSTraceMessage>();
    position->timestamp = 1'700'000'000'000'000;
    position->gprmcStatus = "A";
    position->latitude = 48.5;
    position->longitude = -9.25;
    samples.push_back({"GPSTraceMessage", std::move(position)});

    // The time is in the byte order of the machine: the same bytes in both.
    samples.push_back(
        {"KeyboardMessage",
         std::make_unique<KeyboardMessage>(KeyboardMessage::kTriggerKey, 1, 0x0605040000040506)});
}

}  // namespace

std::vector<MessageSample> messageSamples() {
    Samples samples;
    addRequests(samples);
    addSimpleAnswers(samples);
    addListAnswers(samples);
    addSystemMessages(samples);
    addLiveData(samples);
    samples.push_back(
        {"RouterMessage",
         std::make_unique<RouterMessage>("17_KLV4711", "ksl://0/02:00:00:00:00:02/HandheldServer",
                                         std::make_unique<SimpleMessageRequest<23>>())});
    samples.push_back(
        {"RouterMessage without a message", std::make_unique<RouterMessage>("a", "b", nullptr)});
    return samples;
}
