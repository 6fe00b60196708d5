#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "model/EventQueueEntry.h"

/// The stored form of the event queue, the same in every version.
///
///   queue = [ entry, … ]                              oldest first
///   entry = { "id": string, "request": event }
///   event = { "identifier": string, "name": string, "value": number?, "currency": string?,
///             "platform": string?, "clickId": string?, "deviceId": string? }
///
/// An absent member is left out; unknown members are ignored.
namespace corvane {

/// The JSON object of one entry. Throws `EncodingFailure` for an event without a JSON form.
std::string encodeEntry(const EventQueueEntry& entry);

/// The same from the JSON of the event's request.
std::string encodeEntry(const std::string& id, std::string_view request);

/// The array of the entries with these JSON objects.
std::string joinEntries(const std::vector<std::string_view>& objects);

/// Throws `DecodingFailure`.
EventQueueEntries decodeQueue(std::string_view bytes);

}  // namespace corvane
