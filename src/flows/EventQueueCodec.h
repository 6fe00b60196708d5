#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "flows/EventQueue.h"

/// The stored form of the event queue.
///
///   queue = [ entry, … ]                              oldest first
///   entry = { "id": string, "request": event }
///   event = { "identifier": string, "name": string, "value": number?, "currency": string?,
///             "platform": string?, "clickId": string?, "deviceId": string? }
///
/// An absent member is left out; unknown members are ignored.
namespace corvane {

/// Throws `EncodingFailure` for an event without a JSON form.
std::string encodeQueue(const std::vector<EventQueue::Entry>& entries);

/// Throws `DecodingFailure`.
std::vector<EventQueue::Entry> decodeQueue(std::string_view bytes);

}  // namespace corvane
