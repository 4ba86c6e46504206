"""Two processes save over one file, a thousand times each: two_savers_test.py SAVER

Whenever it is read, the file is that of the one or the other, whole; a save that does not succeed says that the other
process is saving.
"""
import os
import pathlib
import subprocess
import sys
import tempfile

SAVER = sys.argv[1]
TIMES = 1000


def main():
    with tempfile.TemporaryDirectory() as name:
        path = pathlib.Path(name) / "a.kr"
        whole = set()
        for text in ("one", "two"):
            subprocess.run([SAVER, str(path), text], check=True)
            whole.add(path.read_bytes())
        savers = [subprocess.Popen([SAVER, str(path), text, str(TIMES)]) for text in ("one", "two")]
        seen, reads = set(), 0
        while any(saver.poll() is None for saver in savers):
            content = path.read_bytes()
            assert content in whole, f"{len(content)} bytes, which neither process has saved"
            seen.add(content)
            reads += 1
        assert [saver.returncode for saver in savers] == [0, 0], [saver.returncode for saver in savers]
        assert os.listdir(name) == ["a.kr"], os.listdir(name)
        print(f"read {reads} times, {len(seen)} of {len(whole)} files seen")
    return 0


if __name__ == "__main__":
    sys.exit(main())
