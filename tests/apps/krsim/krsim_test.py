"""Runs krsim as operators do: krsim_test.py KRSIM ACTORS_FOLDER ZOO_FOLDER"""
import json
import os
import pathlib
import pty
import re
import resource
import signal
import struct
import subprocess
import sys
import tempfile
import unittest

KRSIM, ACTORS, ZOO = sys.argv[1:4]
CHATTER = ["run", "--plugins", ACTORS, "--content", "Stage", "--module", "Chatter"]


def actor(name, *more):
    return ["run", "--plugins", ACTORS, "--module", name, "--free", *more]


def damage_relocations(plugin):
    """Lets each relocation of this ELF file of 64 bits write to a place outside of it."""
    damaged = bytearray(plugin)
    table, = struct.unpack_from("<Q", plugin, 0x28)             # e_shoff
    size, count = struct.unpack_from("<HH", plugin, 0x3A)       # e_shentsize, e_shnum
    for section in range(table, table + size * count, size):
        kind, = struct.unpack_from("<I", plugin, section + 4)   # sh_type
        if kind != 4:                                           # SHT_RELA
            continue
        offset, length = struct.unpack_from("<QQ", plugin, section + 0x18)
        for entry in range(offset, offset + length, 24):
            struct.pack_into("<Q", damaged, entry, 0x10000000000)  # r_offset
    return bytes(damaged)


# name: (arguments, exit code, what it prints, what it complains of); "{folder}" is an empty one, "{hostile/Name}" one that
# holds this plug-in of the zoo only, "{damaged/Name}" one with a copy whose relocations are damaged.
# What krsim refuses is in inputs_test.py.
RUNS = {
    "frames": (["run", "--content", "Scene", "--free", "--frames", "5"], 0, "krsim: all frames run: 5 frames, 0.083 s simulated", ""),
    "seconds": (["run", "--content", "Content.Scene", "--rate", "10", "--free", "--seconds", "2.04"], 0,
                "running at 10 Hz, free, for 2.04 s; extensions: 1, modules: 0\nkrsim: all seconds simulated: 20 frames", ""),
    "paced": (["run", "--content", "cb0b453a-390e-4bbd-a6be-69563841e94a", "--rate", "1000", "--frames", "20"], 0, "late frames: ", ""),
    "all modules of the plug-in": (["run", "--plugins", ACTORS, "--content", "Stage", "--free"], 0,
                                   "extensions: 1, modules: 2\nkrsim: ended by the simulation: 3 frames", "Actors: mode 1 to 0\n.*Actors: saved"),
    "connections": (["run", "--content", "Connections", "--free", "--frames", "1"], 0, "extensions: 1, modules: 1\n", ""),
    "chosen module": (actor("Chatter", "--frames", "1", "--log-level", "warn"), 0, "modules: 1\n", "^$"),
    "ends itself": (actor("Ender"), 0, "krsim: ended by the simulation: 3 frames", ""),
    "mode": (actor("Chatter", "--mode", "PLAYBACK", "--frames", "1"), 0, "", "Actors: mode 1 to 2"),
    "quiet": (actor("Ender", "--quiet"), 0, "^$", "^$"),
    "quiet with a level": (actor("Ender", "--quiet", "--log-level", "info"), 0, "^$", "Actors: saved"),
    "outputs": (["run", "--plugins", ACTORS, "--content", "Stage", "--content", "Actor.Stage", "--free", "--quiet", "--outputs"], 0,
                "^Stage.Outputs.Width = 2.5 m\nStage.Outputs.Weight = 3.5 kg\nStage.Outputs.Open = true\n"
                r"Stage.\d.Outputs.Width = 2.5 m\n.*true\n$", ""),
    "failing frame": (actor("Failer"), 1, "krsim: failed: 1 frames", "ERROR - .*out of order.*Actors: saved"),
    "throwing callback": (actor("Thrower", "--frames", "5"), 1,
                          "all frames run: 5 .*failures: 5\n  Thrower: onUpdate threw 5 times in frames 1 to 5 "
                          r"\(0\.017 s to 0\.083 s\): too hot\nkrsim: warnings.*: 5\n  WARN - KrSimulatorModule: .*: 5 times in",
                          "(WARN - .*too hot.*){5}"),
    "throwing callback kept": (actor("Thrower", "--frames", "5", "--keep-going"), 0, "Thrower: onUpdate threw 5 times", ""),
    "throwing callback, quiet": (actor("Thrower", "--frames", "5", "--quiet"), 1, "^$", "WARN"),
    "error of a module": (actor("Ailing", "--frames", "2"), 1, "Ailing: has errors in frame 2 .*: Ailing: no fuel\n$", ""),
    "output became NaN": (actor("Spoiler", "--frames", "7"), 1,
                          r"all frames run.*failures: 1\n  Spoiler.Outputs.Speed: became NaN in frame 3 \(0.050 s\)\n"
                          r"krsim: infinite outputs: 3\n  Spoiler.Outputs.Power: became infinite 3 times in frames 2 to 6 ", ""),
    "stop on NaN": (actor("Spoiler", "--frames", "7", "--stop-on-nan"), 1,
                    "krsim: stopped by an output that became NaN: 3 frames", ""),
    "infinities only": (actor("Spoiler", "--frames", "2"), 0, "infinite outputs: 1\n", ""),
    "list": (["list", "--plugins", ZOO], 0,
             "extension  Animal.Horse .*ThrowsEarly.*ends the process that loads it: Aborted.*object     Content.Scene ",
             "Undefined.krp.*notThere.*warning: Animal.Horse .* of plug-in Animals and Animal.Mule .* of plug-in Duplicate have one unique id"),
    "list a plug-in that hangs": (["list", "--plugins", "{hostile/Hangs}", "--limit", "0.1"], 0,
                                  "Hangs.krp\\) is skipped: it takes more than 0.1 s to load\nKrFoundationPlugin", "registers"),
    "list a plug-in that exits": (["list", "--plugins", "{hostile/Exits}"], 0, "Exits.krp\\) ends the process that loads it: exit\\(0\\)", ""),
    "list a plug-in that exits quickly": (["list", "--plugins", "{hostile/QuickExits}"], 0,
                                          "QuickExits.krp\\) ends the process that loads it: exit\\(3\\)", ""),
    "list a plug-in with damaged relocations": (["list", "--plugins", "{damaged/Animals}"], 0,
                                                "Animals.krp\\) ends the process that loads it: Segmentation fault", ""),
    "recorded getter that answered NaN": (actor("Dipper", "--frames", "7", "--record", "{folder}/table"), 1,
                                          r"failures: 1\n  Dipper.Outputs.Level: became NaN in frame 3 \(0.050 s\)\n$", ""),
    "crash": (actor("Crasher"), 139, "",
              r"krsim: crash: SIGSEGV \(Segmentation fault\) at address 0x40, frame 3 \(0\.050 s\)\n"
              r"krsim: in onUpdate of 'Crasher' \(Actor\.Crasher of plug-in 'FaultyActors'\)\n"
              r"krsim: in the code of \S*/FaultyActors\.krp\S*.*KrApplication\S*run"),
    "stack overflow": (actor("Overflower"), 139, "", "crash: SIGSEGV .* frame 1 .*in onUpdate of 'Overflower'.*FaultyActors.krp"),
    "throwing static initialiser": (["run", "--plugins", "{ThrowsEarly}", "--content", "Ox"], 134, "",
                                    r"crash: SIGABRT \(Aborted\), before the first frame\nkrsim: in static initialisers of '\S*/ThrowsEarly\.krp'"),
    "exit in a callback": (actor("Quitter"), 1, "", r"exit\(\) was called in onUpdate of 'Quitter' \(.*, frame 3 \(0\.050 s\), before the end"),
    "exit while registering": (["run", "--plugins", "{hostile/Exits}", "--content", "Ox"], 1, "",
                               r"exit\(\) was called in registration of types of '\S*/Exits\.krp', before the first frame"),
    "quick_exit in a callback": (actor("QuickQuitter"), 1, "", r"quick_exit\(\) was called in onUpdate of 'QuickQuitter' \(.*, frame 3 "),
    "quick_exit while registering": (["run", "--plugins", "{hostile/QuickExits}", "--content", "Ox"], 1, "",
                                     r"quick_exit\(\) was called in registration of types of '\S*/QuickExits\.krp', before the first"),
    "damaged relocations": (["run", "--plugins", "{damaged/Animals}", "--content", "Ox"], 139, "",
                            r"crash: SIGSEGV .*, before the first frame\nkrsim: in static initialisers of '\S*/Animals\.krp'"),
    "version": (["--version"], 0, r"^krsim \d+\.\d+\.\d+\n$", "^$"),
    "help": (["run", "--help"], 0, "--seconds.*Examples:", "^$"),
}


class Krsim(unittest.TestCase):
    def setUp(self):
        holder = tempfile.TemporaryDirectory()
        self.addCleanup(holder.cleanup)
        self.folder = pathlib.Path(holder.name)

    def start(self, *arguments, **streams):
        streams = {"stdin": subprocess.DEVNULL, "stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "text": True} | streams
        process = subprocess.Popen([KRSIM, *arguments], **streams)
        self.addCleanup(process.__exit__, None, None, None)  # closes its streams and waits
        self.addCleanup(process.kill)
        return process

    def resolve(self, argument):
        if match := re.fullmatch(r"\{(?:(damaged|hostile)/)?([A-Z]\w+)\}", argument):
            folder = pathlib.Path(tempfile.mkdtemp(dir=self.folder))
            source = pathlib.Path(ZOO, "hostile" if match[1] == "hostile" else "", f"{match[2]}.krp")
            content = source.read_bytes()
            (folder / source.name).write_bytes(damage_relocations(content) if match[1] == "damaged" else content)
            return str(folder)
        return argument.replace("{folder}", tempfile.mkdtemp(dir=self.folder))

    def wait_for(self, stream, text):
        for line in stream:
            if text in line:
                return
        self.fail(f"ended without '{text}'")

    def test_runs(self):
        for name, (arguments, code, output, errors) in RUNS.items():
            with self.subTest(name):
                process = self.start(*map(self.resolve, arguments))
                printed, complained = process.communicate()
                self.assertEqual(process.returncode, code, printed + complained)
                self.assertRegex(printed, re.compile(output, re.DOTALL))
                self.assertRegex(complained, re.compile(errors, re.DOTALL))

    def test_the_summary_is_an_object_for_programs(self):
        process = self.start(*actor("Thrower", "--frames", "5", "--json"))
        summary = json.loads(process.communicate()[0])
        self.assertEqual(process.returncode, 1)
        self.assertEqual((summary["end"], summary["frames"]), ("all frames run", 5))
        moments = {"count": 5, "firstFrame": 1, "firstSeconds": 1 / 60, "lastFrame": 5, "lastSeconds": 5 / 60}
        self.assertEqual(summary["failures"], {"count": 5, "omitted": 0, "events": [
            {"subject": "Thrower", "what": "onUpdate threw", "detail": "too hot"} | moments]})
        self.assertEqual(summary["messages"]["events"][0]["what"], "WARN")

    def test_a_crash_leaves_whole_lines(self):
        record = self.folder / "record.csv"
        process = self.start("run", "--plugins", ACTORS, "--content", "Stage", "--module", "Crasher", "--free",
                             "--record", str(record), "--log-file", f"{self.folder}/log_")
        complained = process.communicate()[1]
        self.assertEqual(process.returncode, 139, complained)
        text = record.read_bytes().decode()
        self.assertTrue(text.startswith("Time,Stage.Outputs.Width") and text.endswith("\r\n"), text)
        self.assertRegex(text, r"\r\n0\.0333\d*,2\.5,3\.5,true\r\n$")
        log, = self.folder.glob("log_*")
        self.assertTrue(log.read_text().endswith("\n"))

    def test_a_signal_ends_the_run_after_the_frame(self):
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number.name):
                # At a frame each ten seconds: the wait ends, too.
                process = self.start(*CHATTER, "--rate", "0.1", "--log-file", f"{self.folder}/{number.name}_")
                self.wait_for(process.stdout, "logging into")
                process.send_signal(number)
                printed, complained = process.communicate()
                self.assertEqual(process.returncode, 128 + number, printed + complained)
                self.assertRegex(printed, f"krsim: ended by {number.name}: [1-9]\\d* frames")
                log, = self.folder.glob(f"{number.name}_*_{process.pid}.log")
                self.assertTrue(log.read_text().endswith("INFO - Actors: saved\n"))

    def test_a_second_signal_ends_a_frame_that_hangs(self):
        process = self.start("run", "--plugins", ACTORS, "--module", "Hanger")
        self.wait_for(process.stderr, "hanging")
        process.send_signal(signal.SIGTERM)
        caught = -1
        while caught & (1 << (signal.SIGINT - 1)):  # until the first signal was heard
            status = pathlib.Path(f"/proc/{process.pid}/status").read_text()
            caught = int(re.search(r"SigCgt:\s*(\w+)", status)[1], 16)
        process.send_signal(signal.SIGINT)
        process.communicate()
        self.assertEqual(process.returncode, -signal.SIGINT)

    def test_nohup_and_a_reader_that_leaves_do_not_end_the_run(self):
        process = self.start("run", "--plugins", ACTORS, "--module", "Ender", "--rate", "5",
                             preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        self.wait_for(process.stdout, "running")
        process.stdout.close()
        process.send_signal(signal.SIGHUP)
        self.wait_for(process.stderr, "saved")
        self.assertEqual(process.wait(), 0)

    def test_a_terminal_has_one_status_line_below_the_log(self):
        ours, theirs = pty.openpty()
        process = self.start(*CHATTER, "--frames", "50", stdout=theirs, stderr=theirs)
        os.close(theirs)
        shown = b""
        try:
            while block := os.read(ours, 4096):
                shown += block
        except OSError:  # all that had it open have ended
            pass
        os.close(ours)
        self.assertEqual(process.wait(), 0)
        lines = shown.decode().split("\r\n")
        self.assertRegex(shown.decode(), r"\r\x1b\[Kframe \d+ \| ")
        for line in lines:
            what = line.split("\r\x1b[K")
            # Nothing but the last text of a line stays, and no status does.
            self.assertFalse(what[-1].startswith("frame"), line)
            self.assertTrue(all(re.fullmatch(r"frame \d+ [^-]*|", each) for each in what[:-1]), line)

    def test_long_work_is_told_on_a_terminal(self):
        ours, theirs = pty.openpty()
        process = subprocess.Popen([KRSIM, "dump", "-"], stdin=subprocess.PIPE, stdout=subprocess.DEVNULL, stderr=theirs)
        os.close(theirs)
        shown = b""
        while b"so far" not in shown:  # it waits for its input
            shown += os.read(ours, 4096)
        process.stdin.close()
        self.assertEqual(process.wait(), 3)
        os.close(ours)
        self.assertIn("krsim: loading '-', 2 s so far", shown.decode())


if __name__ == "__main__":
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))  # a crash that may leave a core file ends by its signal
    unittest.main(argv=sys.argv[:1])
