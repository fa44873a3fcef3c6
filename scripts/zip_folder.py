#!/usr/bin/env python3
"""zip_folder.py ZIP FOLDER SECONDS: packs a folder, under its own name, so that the same contents give the same bytes.

Every entry gets the same time, SECONDS since 1970 UTC, and the entries are in the order of their names.
"""
import pathlib
import sys
import time
import zipfile


def main(archive, folder, seconds):
    moment = time.gmtime(seconds)[:6]
    with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED, compresslevel=9) as packed:
        for path in sorted(path for path in folder.rglob("*") if path.is_file()):
            entry = zipfile.ZipInfo(path.relative_to(folder.parent).as_posix(), moment)
            entry.compress_type = zipfile.ZIP_DEFLATED
            entry.external_attr = 0o644 << 16
            packed.writestr(entry, path.read_bytes())


if __name__ == "__main__":
    main(pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2]), int(sys.argv[3]))
