"""Packs real files and recordings into the inputs that the fuzz targets take
apart (each target's head comment gives the layout).
   pack_seeds.py SEED-FILES CORPUS
"""
import json, random, struct, sys
from pathlib import Path

seed_files, corpus = Path(sys.argv[1]), Path(sys.argv[2])
TABLE = 1 << 20


def write(target, name, *parts):
    folder = corpus / target
    folder.mkdir(parents=True, exist_ok=True)
    (folder / f"seed-{name}").write_bytes(b"".join(bytes(part) for part in parts))


def read_database(data):
    """Names, and the entries of the buckets that have any, by key."""
    names, at = [], 4
    for _ in range(struct.unpack_from("<I", data)[0]):
        (length,) = struct.unpack_from("<I", data, at)
        names.append(data[at + 4 : at + 4 + length])
        at += 4 + length + 1
    at, buckets = at + 8, {}
    for key in range(TABLE):
        (count,) = struct.unpack_from("<I", data, at)
        if count:
            buckets[key] = struct.unpack_from(f"<{count}Q", data, at + 4)
        at += 4 + 8 * count
    return names, buckets


def compact(names, buckets, form=0):
    out = bytearray([form, len(names)])
    for name in names:
        out += bytes([len(name)]) + name
    next_key = 0
    for key, entries in buckets:
        gap, next_key = key - next_key, key + 1
        entries = entries[:15]
        size = 0x10 if gap < 256 else 0x30
        out += struct.pack("<BB" if gap < 256 else "<BH", size | len(entries), gap)
        for entry in entries:
            out += struct.pack("<BH", entry >> 14 & 255, entry & 16383)
    return out


def melody(length, seed):
    """Loud bursts whose pitches lie close enough to be paired."""
    notes = random.Random(seed)
    return bytes(192 | (20 + notes.randrange(12)) for _ in range(length))


data = (seed_files / "pieces.db").read_bytes()
names, buckets = read_database(data)
# One long run of buckets without a gap that two bytes can't hold.
listed = list(buckets.items())
features = b"".join(struct.pack("<IH", key, 5) for key, _ in listed[:20])
write("database", "few", [0, 0], compact(names, listed[:40]))
write("database", "many", [2, 20], features, compact(names, listed[:400]))
write("database", "whole", [2, 0], compact(names, listed[:60], 20))
write("database", "as-it-stands", [3, 20], features, data[: 1 << 14])
write("database", "matching", [2, 0], compact(names, []),
      *(struct.pack("<BBHBH", 0x22, i % 3, i, i % 2, 40 + i) for i in range(120)))
write("database", "named-only", [0, 0], compact([b"a\0b", b"", b"x" * 200], []))

pcm = (seed_files / "excerpt.s16").read_bytes()
for rate in range(3):
    for channels in (1, 2):
        write("pcm", f"plain-{rate}-{channels}", [4 | rate | channels - 1 << 4, 128], pcm[:16000])
        write("pcm", f"bursts-{rate}-{channels}", [rate | channels - 1 << 4, 100], melody(90, rate))
write("pcm", "long", [0, 200], melody(500, 5))
write("pcm", "odd-address", [8 | 4, 128], pcm[:8000])
write("pcm", "given-counts", [0x87], struct.pack("<IBH", 22050, 3, 700), [255], pcm[:6000])

made = [json.loads(line) for line in (seed_files / "features.json").read_text().splitlines()]
whole, short = bytearray([1]), bytearray([0])
for feature in made[:150]:
    found = buckets.get(feature["hashKey"], ())[:8]
    whole += struct.pack("<BII", 0x30 | len(found), feature["startTime"], feature["hashKey"])
    whole += b"".join(struct.pack("<Q", entry) for entry in found)
    short += struct.pack("<BBB", 0x30 | len(found), feature["startTime"] & 255,
                         feature["hashKey"] & 255)
    short += b"".join(bytes([entry >> 14 & 255, entry & 255]) for entry in found)
write("server", "whole", whole)
write("server", "short", short)

streams = (("second", 0x20, 9), ("tenths", 0x04, 0), ("odd", 0x31, 6), ("slow", 0x4B, 19))
for name, bits, length in streams:
    packets = b"".join(bytes([0]) + melody(8, i) for i in range(80))
    write("stream", name, [bits, length], packets)
write("stream", "given", [128], struct.pack("<5I", 1, 2, 8000, 2, 8000), packets[:180],
      [5, 6, 14, 22, 38, 4])
write("stream", "again", [0x20, 9], packets[:90], [7, 0x24, 4], packets[:180])

for file in sorted((seed_files / "sound").iterdir()):
    write("tool", file.name, [0], file.read_bytes())
write("tool", "database", [1], data[: 1 << 12])
write("tool", "pipe", [2, 1, 99], pcm[:4000])
write("tool", "parts", [3], struct.pack("<HIB", 3, 900000, 1), melody(64, 1))

pairs = [[feature["startTime"], feature["hashKey"]] for feature in made[:40]]
message = {"name": "Radio", "session": "a", "update": 1, "monitor": 60,
           "analyses": [{"number": i, "attributes": pairs[i * 20 :][:20]} for i in range(2)]}
GET, DELETE, JSON = 1, 2, 4
for name, bits, target, body in (
    ("features", JSON, "/v1/recognise?drawing=1", json.dumps({"features": pairs}).encode()),
    ("message", JSON, "/v1/channels/7", json.dumps(message).encode()),
    ("end", DELETE, "/v1/channels/7?session=a", b""),
    ("raw", 0, "/v1/recognise?rate=8000&channels=2&format=s16le", pcm[:8000]),
    ("reference", 0, "/v1/references?name=A%20new%20one&rate=8000", pcm[:8000]),
    ("remove", DELETE, "/v1/references/A%20new%20one", b""),
    ("page", GET, "/page/page.css", b""),
    ("metrics", GET, "http://host:8080/metrics", b"")):
    write("service", name, [bits], target.encode(), b"\n", body)
for file in sorted(seed_files.glob("features.*")) + sorted((seed_files / "sound").iterdir()):
    if file.stat().st_size < 16000:
        write("service", file.name, [0], b"/v1/recognise\n", file.read_bytes())
