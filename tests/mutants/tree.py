"""Builds and runs test programs with one source replaced, beside a build tree that stays as it is."""

import ctypes
import os
import pathlib
import resource
import shlex
import shutil
import signal
import subprocess
import json
import time

ARCHIVE = "src/libcommutil_internals.a"
# Cheaper than the tree's own flags, and quiet about code that is wrong on purpose.
FLAGS = ["-O1", "-g0", "-w"]
MOST_MEMORY = 12 << 30  # of addresses: a test of sizes that wrap maps 8 GiB
MOST_FILE = 1 << 40  # a test of sizes has a sparse file of that
PR_SET_PDEATHSIG = 1
PR_SET_CHILD_SUBREAPER = 36
LIBC = ctypes.CDLL(None, use_errno=True)


class BuildError(Exception):
    """A mutant that cannot be built, or a tree that cannot be read."""


def _run(command, directory):
    done = subprocess.run(command, cwd=directory, text=True, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, check=False)
    if done.returncode != 0:
        raise BuildError(f"{shlex.join(map(str, command))}\n{done.stdout[-2000:]}")
    return done.stdout


def _without_dependencies(arguments):
    """Drops the options that would overwrite the tree's dependency files."""
    kept, skip = [], False
    for argument in arguments:
        if not skip and argument not in ("-MD", "-MT", "-MF"):
            kept.append(argument)
        skip = not skip and argument in ("-MT", "-MF")
    return kept


class Tree:
    """What a build tree knows: how its objects are compiled and its programs linked, and from what."""

    def __init__(self, root, build):
        self.root, self.build = root, build
        if not (build / "compile_commands.json").is_file():
            raise BuildError(f"{build} is not a build tree; run ./dev test first")
        self.compile = {}
        for entry in json.loads((build / "compile_commands.json").read_text()):
            arguments = shlex.split(entry["command"])
            self.compile[arguments[arguments.index("-o") + 1]] = entry["file"], arguments
        self.link = self._link_commands()
        self.dependents = self._dependents()
        self.library = next(name for name in self.link if name.startswith("src/libcommutil.so"))

    def _link_commands(self):
        links = {}
        for line in _run(["ninja", "-t", "commands"], self.build).splitlines():
            command = line.removeprefix(": && ").removesuffix(" && :")
            if not line.startswith(": && ") or " -o " not in command or " && " in command:
                continue
            arguments = shlex.split(command)
            links[arguments[arguments.index("-o") + 1]] = arguments
        return links

    def _dependents(self):
        """Returns {file of the project: objects compiled from it}."""
        found, target = {}, ""
        for line in _run(["ninja", "-t", "deps"], self.build).splitlines():
            if line and not line[0].isspace():
                target = line.split(":")[0]
            elif line.strip():
                path = os.path.normpath(self.build / line.strip())
                found.setdefault(os.path.relpath(path, self.root), set()).add(target)
        return found

    def program(self, test):
        """Returns the path of a test program in the tree."""
        name = next((name for name in self.link if name.endswith(f"/{test}_test")), None)
        if name is None or not (self.build / name).is_file():
            raise BuildError(f"{self.build} has no {test}_test; run ./dev test first")
        return name

    def own_objects(self, test):
        """Returns the objects that only this test program has."""
        return {name for name in self.compile if f"/{test}_test.dir/" in name}

    def library_objects(self):
        return {name for name in self.compile if name.startswith("src/CMakeFiles/")}


class Variant:
    """A source with another text, and what is built with it, in a directory of its own."""

    def __init__(self, tree, directory, source, text):
        self.tree, self.directory, self.source = tree, directory, source
        shutil.rmtree(directory, ignore_errors=True)
        self.copy = directory / "copy" / source
        self.copy.parent.mkdir(parents=True)
        self.copy.write_text(text)
        (directory / "lib").mkdir()
        self.objects = {}
        self.linked = set()

    def _compile(self, name):
        file, arguments = self.tree.compile[name]
        mine = self.directory / "objects" / name
        mine.parent.mkdir(parents=True, exist_ok=True)
        arguments = _without_dependencies(arguments)
        arguments[arguments.index("-o") + 1] = str(mine)
        if os.path.relpath(file, self.tree.root) == self.source:
            arguments[arguments.index(file)] = str(self.copy)
        # Before every other directory, so that a header's copy is found first.
        first = next(at for at, argument in enumerate(arguments) if argument.startswith("-I"))
        arguments.insert(first, f"-I{self.directory / 'copy' / 'src'}")
        _run(arguments + FLAGS, self.tree.build)
        self.objects[name] = str(mine)

    def _link(self, name, output):
        arguments = [self.objects.get(argument, argument) for argument in self.tree.link[name]]
        arguments[arguments.index("-o") + 1] = str(output)
        if ARCHIVE in arguments and any(key.startswith("src/") for key in self.objects):
            arguments[arguments.index(ARCHIVE)] = self._archive()
        _run(arguments, self.tree.build)

    def _archive(self):
        mine = self.directory / "lib" / pathlib.Path(ARCHIVE).name
        if not mine.exists():
            shutil.copy(self.tree.build / ARCHIVE, mine)
            objects = [path for name, path in self.objects.items() if name.startswith("src/")]
            _run(["ar", "r", str(mine), *objects], self.tree.build)
        return str(mine)

    def _soname(self):
        return next(argument.rpartition(",")[2] for argument in self.tree.link[self.tree.library]
                    if argument.startswith("-Wl,-soname,"))

    def build(self, test):
        """Builds the test with the other text; returns the program's path.

        A header is compiled into the library and into a test that itself includes it.
        """
        program = self.tree.program(test)
        dependents = self.tree.dependents.get(self.source, set())
        own = dependents & self.tree.own_objects(test)
        library = dependents & self.tree.library_objects()
        needed = own | library
        if not needed:
            raise BuildError(f"{self.tree.build} compiles nothing from {self.source}; run ./dev test first")
        for name in sorted(needed - set(self.objects)):
            self._compile(name)
        if library and self.tree.library not in self.linked:
            self._link(self.tree.library, self.directory / "lib" / self._soname())
            self.linked.add(self.tree.library)
        if ARCHIVE not in self.tree.link[program] and not own:
            return self.tree.build / program
        output = self.directory / f"{test}_test"
        self._link(program, output)
        return output


def adopt_orphans():
    """Makes this process the parent of every orphan below it, which `_end_children` then finds."""
    LIBC.prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0)
    LIBC.prctl(PR_SET_PDEATHSIG, signal.SIGKILL, 0, 0, 0)


def _end_children():
    own = pathlib.Path(f"/proc/self/task/{os.getpid()}/children")
    while children := own.read_text().split():
        for child in map(int, children):
            try:
                os.kill(child, signal.SIGKILL)
                os.waitpid(child, 0)
            except (ProcessLookupError, ChildProcessError):
                pass


def _limit():
    LIBC.prctl(PR_SET_PDEATHSIG, signal.SIGKILL, 0, 0, 0)
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))
    for what, most in ((resource.RLIMIT_AS, MOST_MEMORY), (resource.RLIMIT_FSIZE, MOST_FILE)):
        # Soft limits: tests set their own ones, and take them back.
        resource.setrlimit(what, (most, resource.getrlimit(what)[1]))


def run(program, directory, deadline):
    """Runs a test program. Returns (whether it passed, its seconds, the end of its output)."""
    scratch = directory / "tmp"
    scratch.mkdir(exist_ok=True)
    scratch.chmod(0o1777)  # for tests without privileges
    environment = dict(os.environ, TMPDIR=str(scratch), GTEST_FAIL_FAST="1", GTEST_BRIEF="1",
                       LD_LIBRARY_PATH=str(directory / "lib"))
    begin = time.monotonic()
    log = directory / "log"
    with log.open("w") as output:
        child = subprocess.Popen([program], env=environment, stdin=subprocess.DEVNULL, stdout=output,
                                 stderr=output, start_new_session=True, preexec_fn=_limit)
        try:
            passed = child.wait(deadline) == 0
        except subprocess.TimeoutExpired:
            passed = False
    seconds = time.monotonic() - begin
    _end_children()
    child.poll()
    shutil.rmtree(scratch, ignore_errors=True)
    return passed, seconds, log.read_text(errors="replace")[-2000:]
