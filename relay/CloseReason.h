#pragma once

#include <array>
#include <cstdint>
#include <string_view>

#include "core/connection/WebSocketTask.h"

namespace orvik::relay {

/// Every way in which a connection ends: nothing is closed without a row of the table below.
enum class CloseReason : std::uint8_t {
  // The relay closes a WebSocket.
  shuttingDown,
  protocolError,
  notUTF8,
  tooManyMessages,
  tooManyBytes,
  messageTooLong,
  tooSlow,
  silent,
  shortOfMemory,
  macAbsent,
  tooManyPhones,
  tooManyMacs,
  tooManyClaims,
  storeUnavailable,
  replaced,
  noToken,
  tokenLate,
  pairingRejected,
  // The other side ends it.
  clientClosed,
  connectionLost,
  // It never was a WebSocket, or is cut without a word.
  noProxyHeader,
  handshakeFailed,
  upgradeLate,
  badRequest,
  requestsAnswered,
  answerNotTaken,
  pushedOut,
  closingLate,
  tooManyConnections,
  tooManyFromAddress,
  tooManyUnauthenticated,
  count
};

/// What one way to end is called everywhere.
struct CloseRow {
  CloseReason reason;
  /// The WebSocket's close code; 0 where none is sent.
  std::uint16_t code;
  /// In metrics.
  std::string_view label;
  /// To the client and in the log.
  std::string_view words;
  /// Whether the same client may come back as it is.
  bool mayComeBack;
};

/// The rows stand in the order of the enumeration.
inline constexpr std::array<CloseRow, static_cast<std::size_t>(CloseReason::count)> closeRows{{
    {CloseReason::shuttingDown, closeCode::goingAway, "shutting_down", "the relay is shutting down",
     true},
    {CloseReason::protocolError, 1002, "protocol_error", "not a proper WebSocket frame", false},
    {CloseReason::notUTF8, 1007, "not_utf8", "text that is not UTF-8", false},
    {CloseReason::tooManyMessages, 1008, "too_many_messages", "too many messages", false},
    {CloseReason::tooManyBytes, 1008, "too_many_bytes", "too many bytes", false},
    {CloseReason::messageTooLong, 1009, "message_too_long", "message too long", false},
    {CloseReason::tooSlow, 1013, "too_slow", "too slow", true},
    {CloseReason::silent, 1013, "silent", "silent for too long", true},
    {CloseReason::shortOfMemory, 1013, "short_of_memory", "the relay is short of memory", true},
    {CloseReason::macAbsent, 1013, "mac_absent", "the Mac is not connected", true},
    {CloseReason::tooManyPhones, 1013, "too_many_phones", "too many phones", true},
    {CloseReason::tooManyMacs, 1013, "too_many_macs", "too many Macs", true},
    {CloseReason::tooManyClaims, 1013, "too_many_claims", "too many new Macs from one address",
     true},
    {CloseReason::storeUnavailable, 1013, "store_unavailable", "the store is unavailable", true},
    {CloseReason::replaced, 4000, "replaced", "replaced", true},
    {CloseReason::noToken, 4400, "no_token", "the first message is no token", false},
    {CloseReason::tokenLate, 4400, "token_late", "no token came in time", false},
    {CloseReason::pairingRejected, closeCode::pairingRejected, "pairing_rejected",
     "pairing rejected", false},
    {CloseReason::clientClosed, 0, "client_closed", "closed by the client", true},
    {CloseReason::connectionLost, 0, "connection_lost", "the connection was lost", true},
    {CloseReason::noProxyHeader, 0, "no_proxy_header", "no PROXY protocol header", false},
    {CloseReason::handshakeFailed, 0, "handshake_failed", "the TLS handshake failed", false},
    {CloseReason::upgradeLate, 0, "upgrade_late", "no upgrade came in time", false},
    {CloseReason::badRequest, 0, "bad_request", "a request that was refused", false},
    {CloseReason::requestsAnswered, 0, "requests_answered", "all requests are answered", true},
    {CloseReason::answerNotTaken, 0, "answer_not_taken", "an answer was not taken in time", true},
    {CloseReason::pushedOut, 1013, "pushed_out", "not authenticated, and others are waiting", true},
    {CloseReason::closingLate, 0, "closing_late", "the end was not confirmed in time", true},
    {CloseReason::tooManyConnections, 0, "too_many_connections", "too many connections", true},
    {CloseReason::tooManyFromAddress, 0, "too_many_from_address",
     "too many connections from one address", true},
    {CloseReason::tooManyUnauthenticated, 0, "too_many_unauthenticated",
     "too many connections that have not authenticated", true},
}};

[[nodiscard]] constexpr const CloseRow& rowOf(CloseReason reason) {
  return closeRows.at(static_cast<std::size_t>(reason));
}

static_assert(
    [] {
      for (std::size_t i = 0; i < closeRows.size(); ++i) {
        if (closeRows.at(i).reason != static_cast<CloseReason>(i)) {
          return false;
        }
      }
      return true;
    }(),
    "the rows stand in the order of the enumeration");

}  // namespace orvik::relay
