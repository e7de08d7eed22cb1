"""Tags made by mutagen arrive byte for byte, and mutagen and ffprobe read them from the DSF file:
proof_tags.py <vantrel-kit> ; exits 77 where mutagen is missing, as ffprobe may be."""

import io
import os
import shutil
import struct
import subprocess
import sys
import tempfile

try:
    from mutagen import dsf, id3
except ImportError:
    sys.exit(77)

PROGRAM = sys.argv[1]
TITLE, ARTIST = "Gr\u00fc\u00dfe \u65e5\u672c", "\u00c4 artist"
PICTURE = bytes(range(256)) * 300 + b"\xff\xe0\xff\x00" * 50  # bytes that unsynchronisation changes
SOUND = bytes(i * 7 % 256 for i in range(20000))


def chunk(name, data):
    return name.encode() + struct.pack(">Q", len(data)) + data + b"\0" * (len(data) % 2)


def make_dsdiff(inside=b"", after=b""):
    prop = (b"SND " + chunk("FS  ", struct.pack(">I", 2822400)) + chunk("CHNL", struct.pack(">H", 2) + b"SLFTSRGT")
            + chunk("CMPR", b"DSD \x0enot compressed\0"))
    form = b"DSD " + chunk("FVER", b"\1\5\0\0") + chunk("PROP", prop) + chunk("DSD ", SOUND) + inside
    return chunk("FRM8", form) + after


def synchsafe(number):
    return bytes(number >> shift & 127 for shift in (21, 14, 7, 0))


def make_tag(version, encoding, picture, padding=0):
    tag = id3.ID3()
    tag.add(id3.TIT2(encoding=encoding, text=TITLE))
    tag.add(id3.TPE1(encoding=encoding, text=ARTIST))
    if picture:
        tag.add(id3.APIC(encoding=encoding, mime="image/jpeg", type=3, desc="front \u65e5", data=PICTURE))
    if version == 3:
        tag.update_to_v23()
    file = io.BytesIO()
    tag.save(file, v2_version=version, padding=lambda info: padding)
    return file.getvalue()


def unsynchronise(tag):
    """Of version 2.3, where it covers all frames, as mutagen writes no such tag itself."""
    body = bytearray()
    for i, byte in enumerate(tag[10:]):
        body.append(byte)
        if byte == 0xFF and (i + 11 >= len(tag) or tag[i + 11] == 0 or tag[i + 11] >= 0xE0):
            body.append(0)
    return tag[:5] + b"\x80" + synchsafe(len(body)) + bytes(body)


def make_tag_of_version_2():
    def frame(name, text):
        data = b"\1" + text.encode("utf-16")
        return name + struct.pack(">I", len(data))[1:] + data
    body = frame(b"TT2", TITLE) + frame(b"TP1", ARTIST)
    return b"ID3\2\0\0" + synchsafe(len(body)) + body


def check(name, tag, picture, folder):
    for place in ("inside", "after"):
        source, target = os.path.join(folder, "a.dff"), os.path.join(folder, "a.dsf")
        with open(source, "wb") as file:
            file.write(make_dsdiff(**{place: chunk("ID3 ", tag) if place == "inside" else tag}))
        subprocess.run([PROGRAM, "convert", "-q", "-f", source], check=True)
        with open(target, "rb") as file:
            content = file.read()
        pointer = struct.unpack("<Q", content[20:28])[0]
        assert content[pointer:] == tag, f"{name}, {place}: the tag differs"

        read = dsf.DSF(target)
        assert read.info.channels == 2 and read.info.sample_rate == 2822400
        assert read["TIT2"].text == [TITLE] and read["TPE1"].text == [ARTIST], f"{name}, {place}"
        assert [frame.data for frame in read.tags.getall("APIC")] == ([PICTURE] if picture else []), f"{name}, {place}"
        if shutil.which("ffprobe"):
            probe = subprocess.run(
                ["ffprobe", "-v", "error", "-of", "default=nw=1:nk=1", "-show_entries", "format_tags=title,artist", target],
                check=True, capture_output=True, encoding="utf-8")
            # Of an unsynchronised tag it reads the first frame and loses its place.
            expected = {TITLE} if "unsynchronised" in name else {TITLE, ARTIST}
            assert set(probe.stdout.split("\n")) - {""} == expected, f"{name}, {place}: {probe.stdout}"


def main():
    utf16, utf8 = 1, 3
    tags = {
        "2.2": (make_tag_of_version_2(), False),
        "2.3, UTF-16": (make_tag(3, utf16, False), False),
        "2.3, picture": (make_tag(3, utf16, True, 1000), True),
        "2.3, unsynchronised": (unsynchronise(make_tag(3, utf16, True)), True),
        "2.4, UTF-8": (make_tag(4, utf8, False, 77), False),
        "2.4, UTF-16, picture": (make_tag(4, utf16, True), True),
    }
    folder = tempfile.mkdtemp(prefix="vantrel-")
    try:
        for name, (tag, picture) in tags.items():
            check(name, tag, picture, folder)
    finally:
        shutil.rmtree(folder)
    print(f"{len(tags)} tags, each inside and after the form")


main()
