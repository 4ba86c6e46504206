"""Kills a save at each of its system calls: killed_save_test.py SAVER

The file must then be the old or the new one, whole, and the next save must succeed. Skipped where strace is missing or
must not trace.
"""
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

SAVER = sys.argv[1]
# Leaks cannot be looked for while strace traces.
ENVIRONMENT = {**os.environ, "ASAN_OPTIONS": "detect_leaks=0"}
CALLS = ("openat", "flock", "write", "fsync", "close", "rename", "unlink", "newfstatat", "fchmod")


def save(path, text, *tracer):
    """The exit code of a save below a tracer."""
    return subprocess.run([*tracer, SAVER, str(path), text], env=ENVIRONMENT, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL, timeout=60).returncode


def saved(path, text):
    assert save(path, text) == 0
    return path.read_bytes()


def killed(folder, call, number, old):
    """Whether the save got as far as its call of that number and was killed there; the last line of the trace."""
    path, trace = folder / "a.kr", folder / "trace"
    path.write_bytes(old)
    pathlib.Path(f"{path}.temp").write_bytes(b"left over")
    # Calls on these paths only, not those of the loader
    paths = [word for name in (path, f"{path}.temp", folder) for word in ("-P", str(name))]
    code = save(path, "new", "strace", "-f", "-o", str(trace), *paths, "-e", f"trace=/^{call}$",
                "-e", f"inject={call}:signal=KILL:when={number}")
    return code != 0, trace.read_text()


def main():
    if shutil.which("strace") is None or subprocess.run(["strace", "-o", os.devnull, "true"]).returncode != 0:
        print("skipped: strace is missing or must not trace")
        return 77
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(os.path.realpath(name))
        path = folder / "a.kr"
        old, new = saved(path, "old"), saved(path, "new")
        kills, outcomes = {}, set()
        for call in CALLS:
            number = 1
            while True:
                was_killed, trace = killed(folder, call, number, old)
                if not was_killed:
                    break
                content = path.read_bytes()
                assert content in (old, new), f"{call} {number}: {len(content)} bytes, neither old nor new\n{trace}"
                outcomes.add(content == new)
                assert saved(path, "new") == new, f"{call} {number}: the next save"
                assert sorted(os.listdir(folder)) == ["a.kr", "trace"], f"{call} {number}: left {os.listdir(folder)}"
                kills[call] = number
                number += 1
            assert path.read_bytes() == new, f"{call}: not killed, but not saved either"
        print("killed at", kills)
        assert set(kills) == set(CALLS), "some call was never hit"
        assert outcomes == {False, True}, "either no old or no new file was seen"
    return 0


if __name__ == "__main__":
    sys.exit(main())
