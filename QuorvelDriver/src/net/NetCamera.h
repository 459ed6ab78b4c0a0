#pragma once
// The host side of Ethernet cameras: discovery, opening a camera served by a camera daemon as a
// CameraCore that behaves like a local one, and force-IP.
//
// Discovery asks every address in QUORVEL_DISCOVERY_ADDRS ("127.0.0.5,127.0.0.6:47000"; the port
// defaults to 47000) and, only when QUORVEL_DISCOVERY_BROADCAST is "1", the limited broadcast
// address too: broadcasting is opt-in so that a test run or a desktop session never sends to a
// real network unasked. It waits until every listed address has answered for all its cameras,
// refused (nobody there) or kDiscoveryWindow has passed.
//
// An open network camera holds two TCP connections to its daemon: control (requests, replies,
// heartbeats every 200 ms) and stream (packets). The link counts as broken when either closes or
// no heartbeat came for 800 ms, so isConnected() turns false within one second.
//
// Errors: functions return empty/null/false and set `error`.
// Thread rules: thread-safe.

#include "camera/CameraCore.h"
#include "quorvel/CameraDescription.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace quorvel::net {

inline constexpr std::chrono::milliseconds kDiscoveryWindow{400};

struct DiscoveryTarget {
    std::string ip;
    uint16_t port = 0;
};

/// Parses a QUORVEL_DISCOVERY_ADDRS list; bad entries are skipped and reported in `warnings`.
std::vector<DiscoveryTarget> parseDiscoveryList(const std::string& text, std::vector<std::string>& warnings);

/// Network cameras answering now at the configured addresses (interface type 1, every address
/// field filled). Also remembers each camera's endpoint for opening and force-IP.
std::vector<CameraDescription> discoverNetworkCameras();
std::vector<CameraDescription> discoverNetworkCameras(const std::vector<DiscoveryTarget>& targets, bool broadcast);

/// Whether this serial was found on the network by the latest discovery.
bool isNetworkCamera(const std::string& serial, CameraDescription* desc = nullptr);

/// Opens (or returns the already open) network camera with this serial.
std::shared_ptr<detail::CameraCore> openNetworkCamera(const std::string& serial, std::string& error);

bool forceIp(const CameraDescription& desc, uint32_t ip, uint32_t mask, uint32_t gateway, std::string& error);

} // namespace quorvel::net
