#include "tool/store/redis_scripts.h"

#include <string>

namespace audiomatch {
namespace {

// A version that there never was before, on whichever node: one that fails may have counted
// on, and been seen to, before its successor does.
constexpr const char* kRenew = R"(
local function renew(key)
  local clock, version = redis.call('TIME'), redis.call('GET', key) or ''
  local count = (tonumber(version:match('^%d+')) or 0) + 1
  redis.call('SET', key, string.format('%d.%s.%s', count, clock[1], clock[2]))
end
)";

// Leaves the entries of a record to be swept, marked by the moment, so that a sweep that began
// before is told from those after it. A full Redis lets a script begin with HDEL, and go on.
constexpr const char* kLeave = R"(
local function leave(key, record)
  redis.call('HDEL', key, record)
  redis.call('HSET', key, record, table.concat(redis.call('TIME'), '.'))
end
)";

// The attributes of all channels, as a key has them. They are counted anew before anything is
// refused for them, as somebody may have removed channels; not at each refusal, as that looks at
// all of them.
constexpr const char* kTotal = R"(
local function total(key, channels, most, now)
  local kept = tonumber(redis.call('HGET', key, 'attributes'))
  local counted = tonumber(redis.call('HGET', key, 'counted')) or 0
  if kept and (kept <= most or math.abs(now - counted) <= 10) then return kept end
  local all = 0
  for _, each in ipairs(redis.call('HVALS', channels)) do
    all = all + (cjson.decode(each).attributes or 0)
  end
  redis.call('HSET', key, 'attributes', all, 'counted', string.format('%d', now))
  return all
end
)";

}  // namespace

const RedisScript& reserveScript() {
  static const RedisScript script(std::string(kLeave) + R"(
local function is_same(record) return record:match('^%d+:(.*)$') == ARGV[2] end
local kept = redis.call('HGET', KEYS[1], ARGV[1])
if kept then return {is_same(kept) and 1 or 2, kept} end
local begun = redis.call('HGET', KEYS[2], ARGV[1])
if begun and is_same(begun) then return {0, begun} end
local parts = tonumber(ARGV[3])
local record = string.format('%d:%s', redis.call('INCRBY', KEYS[3], parts) - parts, ARGV[2])
if begun then leave(KEYS[4], begun) end
redis.call('HSET', KEYS[2], ARGV[1], record)
return {0, record}
)");
  return script;
}

const RedisScript& completeScript() {
  static const RedisScript script(std::string(kRenew) + kLeave + R"(
if redis.call('HGET', KEYS[1], ARGV[1]) == ARGV[2] then return 1 end
if redis.call('HGET', KEYS[2], ARGV[1]) ~= ARGV[2] then
  leave(KEYS[4], ARGV[2])
  return 0
end
renew(KEYS[3])
redis.call('HSET', KEYS[1], ARGV[1], ARGV[2])
redis.call('HDEL', KEYS[2], ARGV[1])
return 1
)");
  return script;
}

const RedisScript& removeScript() {
  static const RedisScript script(std::string(kRenew) + kLeave + R"(
if redis.call('HGET', KEYS[1], ARGV[1]) ~= ARGV[2] then return 0 end
redis.call('HDEL', KEYS[1], ARGV[1])
leave(KEYS[2], ARGV[2])
renew(KEYS[3])
return 1
)");
  return script;
}

const RedisScript& insertScript() {
  static const RedisScript script(R"(
local bucket = redis.call('GET', KEYS[1])
if not bucket then redis.call('SET', KEYS[1], ARGV[1]) return 1 end
local added = {}
for i = 1, #ARGV[1], 6 do
  local entry = ARGV[1]:sub(i, i + 5)
  local at = bucket:find(entry, 1, true)
  while at and at % 6 ~= 1 do at = bucket:find(entry, at + 1, true) end
  if not at then added[#added + 1] = entry end
end
if #added > 0 then redis.call('SET', KEYS[1], bucket .. table.concat(added)) end
return 1
)");
  return script;
}

// A full Redis lets it begin with DEL, and go on.
const RedisScript& sweepScript() {
  static const RedisScript script(R"(
local bucket = redis.call('GET', KEYS[1])
if not bucket then return 0 end
local ranges = {}
for first, past in ARGV[1]:gmatch('(%d+) (%d+)') do
  ranges[#ranges + 1] = {tonumber(first), tonumber(past)}
end
local rest = {}
for i = 1, #bucket, 6 do
  local a, b, c, d, e, f = bucket:byte(i, i + 5)
  local audio = math.floor(b / 64) + c * 4 + d * 1024 + e * 262144 + f * 67108864
  local stays = true
  for _, range in ipairs(ranges) do
    if audio >= range[1] and audio < range[2] then stays = false break end
  end
  if stays then rest[#rest + 1] = bucket:sub(i, i + 5) end
end
if #rest * 6 == #bucket then return 0 end
redis.call('DEL', KEYS[1])
if #rest > 0 then redis.call('SET', KEYS[1], table.concat(rest)) end
return 1
)");
  return script;
}

const RedisScript& sweptScript() {
  static const RedisScript script(R"(
if redis.call('HGET', KEYS[1], ARGV[1]) ~= ARGV[2] then return 0 end
return redis.call('HDEL', KEYS[1], ARGV[1])
)");
  return script;
}

// The record of a channel. An analysis expires as long after it came as the channel is
// remembered: dated from the session's first one, it would come to expire on its arrival, or
// never, as a channel's clock drifts. One that is repeated is dated back from the latest.
//
// The first thing that it changes is what a full Redis denies, so that nothing is half done.
const RedisScript& noteScript() {
  static const RedisScript script(std::string(kTotal) + R"(
local clock = redis.call('TIME')
local now = tonumber(clock[1]) + tonumber(clock[2]) / 1000000
local session, number, coming = cjson.decode(ARGV[2]), tonumber(ARGV[3]), tonumber(ARGV[4])
local kept = redis.call('HGET', KEYS[1], ARGV[1])
local record = kept and cjson.decode(kept)
local before = record and record.attributes or 0
local begins = not record or record.session ~= session.session
if begins then
  local replaced = record and record.replaced or {}
  for _, key in ipairs(replaced) do if key == session.session then return {2, 0} end end
  if not record and redis.call('HLEN', KEYS[1]) >= tonumber(ARGV[5]) then return {3, 0} end
  if record then
    table.insert(replaced, 1, record.session)
    while #replaced > 16 do table.remove(replaced) end
  end
  record = {session = session.session, name = session.name, update = session.update,
            monitor = session.monitor, first = now - number * session.update, analyses = 0,
            attributes = 0, latest = -1, replaced = replaced}
end
if number <= record.latest then
  return {1, math.ceil(record.last - (record.latest - number) * record.update + record.monitor)}
end
local oldest, leaving = number - record.monitor / record.update, 0
while not begins do
  local entry = redis.call('LINDEX', KEYS[2], leaving)
  if not entry then record.attributes = 0 break end
  local at, count = entry:match('^(%d+):(%d+)$')
  if tonumber(at) > oldest then break end
  record.attributes = record.attributes - tonumber(count)
  leaving = leaving + 1
end
record.attributes = record.attributes + coming
local more, most = record.attributes - before, tonumber(ARGV[6])
if total(KEYS[3], KEYS[1], most - more, now) + more > most then return {4, 0} end
redis.call('HINCRBY', KEYS[3], 'attributes', more)
if begins then redis.call('DEL', KEYS[2]) end
if leaving > 0 then redis.call('LTRIM', KEYS[2], leaving, -1) end
redis.call('RPUSH', KEYS[2], string.format('%d:%d', number, coming))
redis.call('EXPIRE', KEYS[2], math.ceil(2 * record.monitor) + 60)
record.latest, record.last, record.analyses = number, now, record.analyses + 1
if record.replaced and #record.replaced == 0 then record.replaced = nil end
redis.call('HSET', KEYS[1], ARGV[1], cjson.encode(record))
return {begins and 0 or 1, math.ceil(now + record.monitor)}
)");
  return script;
}

const RedisScript& insertLiveScript() {
  static const RedisScript script(R"(
local function number(text, i)
  local a, b, c, d = text:byte(i, i + 3)
  return a + b * 256 + c * 65536 + d * 16777216
end
local function bytes(n)
  return string.char(n % 256, math.floor(n / 256) % 256, math.floor(n / 65536) % 256,
                     math.floor(n / 16777216) % 256)
end
local now, expiry = tonumber(redis.call('TIME')[1]), tonumber(ARGV[1])
local bucket = redis.call('GET', KEYS[1]) or ''
local kept, place, last = {}, {}, expiry
for i = 1, #bucket, 12 do
  local expires = number(bucket, i + 8)
  if expires > now then
    kept[#kept + 1] = bucket:sub(i, i + 11)
    place[bucket:sub(i, i + 7)] = #kept
    last = math.max(last, expires)
  end
end
if expiry > now then
  for i = 1, #ARGV[2], 8 do
    local head = ARGV[2]:sub(i, i + 7)
    local at = place[head]
    if not at then
      kept[#kept + 1] = head .. bytes(expiry)
    elseif number(kept[at], 9) < expiry then
      kept[at] = head .. bytes(expiry)
    end
  end
end
if #kept == 0 then redis.call('DEL', KEYS[1]) return 0 end
redis.call('SET', KEYS[1], table.concat(kept), 'EXAT', last)
return #kept
)");
  return script;
}

const RedisScript& endScript() {
  static const RedisScript script(R"(
local kept = redis.call('HGET', KEYS[1], ARGV[1])
if not kept then return 0 end
local record = cjson.decode(kept)
if ARGV[2] ~= '' and record.session ~= ARGV[2] then return 0 end
if ARGV[3] == 'silent' and tonumber(redis.call('TIME')[1]) < record.last + record.monitor then
  return 0
end
redis.call('HDEL', KEYS[1], ARGV[1])
redis.call('DEL', KEYS[2])
if redis.call('HEXISTS', KEYS[3], 'attributes') == 1 then
  redis.call('HINCRBY', KEYS[3], 'attributes', 0 - record.attributes)
end
return 1
)");
  return script;
}

}  // namespace audiomatch
