// The participants that every logger has on its bus.
#pragma once

inline constexpr char kHandheldServer[] = "HandheldServer";    // answers requests, sends live data
inline constexpr char kEventHandler[] = "EventHandler";        // keeps the events
inline constexpr char kOnlineProcessor[] = "OnlineProcessor";  // takes keys that make events
inline constexpr char kKslForwarder[] = "KSLForwarder";  // passes messages on to other loggers
inline constexpr char kKrpBusServer[] = "KRPBusServer";  // tells the clients what the logger does
