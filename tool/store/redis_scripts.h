#pragma once

#include "tool/store/redis_script.h"

namespace audiomatch {

// What nodes do in one go. Each comes to the same when it is done twice.

/// Reserves numbers for a reference.
///   KEYS names, adding, next, removed; ARGV name, "PARTS:ENTRIES:DIGEST", PARTS
/// Replies {0 reserved, 1 the same is there, 2 another of the name is there; its record}.
/// An addition of the same that wasn't completed is gone on with, one of another is given up.
const RedisScript& reserveScript();

/// Names a reference whose entries are written.
///   KEYS names, adding, version, removed; ARGV name, record
/// Replies 0 when another was faster: the entries are left to be swept, as those that were
/// written behind a sweep would stay for ever.
const RedisScript& completeScript();

/// Takes a reference's name away, and leaves its entries to be swept.
///   KEYS names, removed, version; ARGV name, record
const RedisScript& removeScript();

/// Inserts packed entries into a bucket, those that it hasn't got.
///   KEYS bucket; ARGV entries
const RedisScript& insertScript();

/// Removes the entries of audios from a bucket.
///   KEYS bucket; ARGV "FIRST END FIRST END ...", in decimal
const RedisScript& sweepScript();

/// Forgets a removed reference whose entries are swept, unless it was left to be swept again
/// meanwhile.
///   KEYS removed; ARGV record, its mark when the sweep began
const RedisScript& sweptScript();

/// Takes note of a channel's analysis.
///   KEYS channels, counts of the channel, what all have; ARGV id, session as JSON, analysis,
///   attributes, most channels, most attributes of all
/// Replies {0 the session begins, 1 it goes on, 2 another has replaced it, 3 there are as many
/// channels as there can be, 4 as many attributes; the second, in Unix time, at which the
/// attributes expire}.
const RedisScript& noteScript();

/// Inserts attributes of one expiry into a bucket, and drops what has expired.
///   KEYS bucket; ARGV Unix time of the expiry, 8 bytes each: channel, tag, time
const RedisScript& insertLiveScript();

/// Ends a channel, if a session is given only that one's, if a time is given only
/// when nothing came since.
///   KEYS channels, counts of the channel, what all have; ARGV id, session's key or "",
///   "silent" or ""
/// Replies 1 when it was on air.
const RedisScript& endScript();

}  // namespace audiomatch
