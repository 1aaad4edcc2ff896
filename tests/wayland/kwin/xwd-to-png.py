# An X window dump (xwd, 24- or 32-bit TrueColor) as a PNG, with nothing but the standard library:
#   xwd-to-png.py IN.xwd OUT.png
import struct
import sys
import zlib

data = open(sys.argv[1], "rb").read()
h = struct.unpack(">25I", data[:100])
header_size, depth, width, height = h[0], h[3], h[4], h[5]
byte_order, bits_per_pixel, bytes_per_line, ncolors = h[7], h[11], h[12], h[19]
if bits_per_pixel != 32 or depth < 24:
    sys.exit("xwd-to-png: only 24/32-bit TrueColor dumps")
pixels = header_size + ncolors * 12
rows = bytearray()
for y in range(height):
    line = data[pixels + y * bytes_per_line:pixels + y * bytes_per_line + width * 4]
    rgb = bytearray(width * 3)
    # Least significant byte first: blue, green, red, unused; else the other way round.
    r, g, b = (2, 1, 0) if byte_order == 0 else (1, 2, 3)
    rgb[0::3], rgb[1::3], rgb[2::3] = line[r::4], line[g::4], line[b::4]
    rows += b"\0" + rgb


def chunk(kind, body):
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body) & 0xFFFFFFFF)


png = b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
png += chunk(b"IDAT", zlib.compress(bytes(rows), 9)) + chunk(b"IEND", b"")
open(sys.argv[2], "wb").write(png)
