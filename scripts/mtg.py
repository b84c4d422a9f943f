"""Tag streams, as the tests of whole programs make and compare them."""

import struct
from collections import namedtuple

Tag = namedtuple("Tag", "type time data")

HEADER = b"MTG\x01\x05\x00\x00\x00\x09\x00\x00\x00\x00"


def read_tags(path):
    with open(path, "rb") as file:
        image = file.read()
    tags, place = [], len(HEADER)
    while place < len(image):
        kind, size, time = image[place], *(int.from_bytes(image[place + at:place + at + 3], "big") for at in (1, 4))
        data = image[place + 11:place + 11 + size]
        tags.append(Tag(kind, time | image[place + 7] << 24, data))
        place += size + 15
    return tags


def write_tags(path, tags):
    with open(path, "wb") as file:
        file.write(HEADER)
        for tag in tags:
            time = struct.pack(">I", tag.time)
            file.write(bytes([tag.type]) + len(tag.data).to_bytes(3, "big") + time[1:] + time[:1] + bytes(3) + tag.data)
            file.write(struct.pack(">I", len(tag.data) + 11))


def is_media(tag):
    """Neither metadata nor the configuration of a codec."""
    is_configuration = tag.type in (8, 9) and tag.data[1:2] == b"\0" and (tag.type == 9 or tag.data[0] >> 4 == 10)
    return tag.type in (8, 9) and not is_configuration


def media(tags):
    return [tag for tag in tags if is_media(tag)]


def is_part(part, whole):
    """Whether each tag of `part` is in `whole`, in that order and all moved by one distance."""
    distances, place = set(), 0
    for tag in part:
        while place < len(whole) and (whole[place].type, whole[place].data) != (tag.type, tag.data):
            place += 1
        if place == len(whole):
            return False
        distances.add(whole[place].time - tag.time)
        place += 1
    return len(distances) <= 1
