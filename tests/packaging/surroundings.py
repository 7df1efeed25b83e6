"""What the packaging tests share: where things are, and how other programs are run."""

import os
import pathlib
import shutil
import subprocess
import tempfile
import unittest

SOURCE = pathlib.Path(os.environ["MORV_SOURCE_FOLDER"])
BUILD = pathlib.Path(os.environ["MORV_BUILD_FOLDER"])
PROGRAM = pathlib.Path(os.environ["MORV_PROGRAM"])
LV2_FOLDER = os.environ["MORV_LV2_INSTALL_DIR"]  # below the prefix
PACKAGING = SOURCE / "packaging"
IDENTIFIER = "org.morv.morv"
PLUGIN = "https://morv.org/lv2/morv"
EFFECTS = sorted("https://morv.org/lv2/effects/" + kind for kind in (
    "basicchorus", "basicdelay", "digidelay", "digiphaser", "digiverb", "ecoverb", "spectrum", "springverb",
    "vachorus", "vadelay"))


class PackagingTest(unittest.TestCase):
    """A temporary folder for each class, and runs of programs that must succeed."""

    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.folder = pathlib.Path(tempfile.mkdtemp(prefix="morv-packaging-")).resolve()
        cls.addClassCleanup(shutil.rmtree, cls.folder, ignore_errors=True)

    @classmethod
    def run_tool(cls, words, package=None, may_fail=False, **options):
        """Runs a program and gives what became of it; `package` is the Debian package that brings it."""
        if package and not shutil.which(words[0]):
            raise AssertionError(f"{words[0]} is missing: install the package '{package}'")
        done = subprocess.run(words, capture_output=True, text=True, **options)
        if done.returncode != 0 and not may_fail:
            raise AssertionError(f"{words} ended with {done.returncode}:\n{done.stdout}{done.stderr}")
        return done


def files_below(folder):
    """Every file and link below a folder, as paths from there."""
    return {str(path.relative_to(folder)) for path in folder.rglob("*") if path.is_symlink() or not path.is_dir()}


def clean_environment(folder):
    """The surroundings of a fresh user: only the folders that the XDG rules name, a home that nobody may write to."""
    home = folder / "home"
    home.mkdir(exist_ok=True)
    home.chmod(0o555)
    environment = {"HOME": str(home), "PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8"}
    for name in ("CONFIG_HOME", "DATA_HOME", "STATE_HOME", "CACHE_HOME", "DOCUMENTS_DIR"):
        environment[f"XDG_{name}"] = str(folder / name.lower())
    return environment
