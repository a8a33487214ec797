#!/usr/bin/env python3
"""The files for a device agree with the code, with the other build and among themselves."""
import json
import re
import subprocess
import tempfile
import unittest
from pathlib import Path
from xml.etree import ElementTree

ROOT = Path(__file__).resolve().parents[2]
POLICY = ROOT / "tests/packaging/policy"
PACKAGE = "vendor.tav.lumvndhal_aidl"
INSTANCE = PACKAGE + ".ILumvndhal/default"
PROGRAM = "/vendor/bin/hw/" + PACKAGE + "-service"
LIBRARY_DIRECTORIES = ["campaign", "deviceinfo", "dropbox", "service", "transfer"]
INTERFACE = "interface/vendor/tav/lumvndhal_aidl"
SNAPSHOTS = "interface/aidl_api/" + PACKAGE
MAPPING = "linux/mapping/include/aidl/vendor/tav/lumvndhal_aidl"
RC = "host/" + PACKAGE + "-service.rc"

# What the pattern finds in the file, from its first line to its last.
PLACES = [
    (INTERFACE + "/ILumvndhal.aidl", r"^package (\S+);", [PACKAGE]),
    ("service/LumvndhalImpl.h", r"^namespace aidl::(\S+) \{", [PACKAGE.replace(".", "::")]),
    ("service/exports.map", r"_Z(?:|T\[ISV\])N(\w+Impl)",
     ["4aidl6vendor3tav14lumvndhal_aidl13LumvndhalImpl"] * 2),
    ("service/CMakeLists.txt", r'PREFIX "" OUTPUT_NAME (\S+)', [PACKAGE + "-halimpl"]),
    ("host/CMakeLists.txt", r"OUTPUT_NAME (\S+)\)", [PACKAGE + "-service"]),
    ("linux/mapping/CMakeLists.txt", r'PREFIX "" OUTPUT_NAME (\S+)\)', [PACKAGE + "-V1-ndk"]),
    ("host/Options.h", r'string instance = "(.*?)"', ["default"]),
    (RC, r"^service (.*)", ["vendor.lumvndhal " + PROGRAM]),
    (RC, r"^    interface aidl (.*)", [INSTANCE]),
    (RC, r"^    (?:user|group|class) (.*)", ["hal", "system", "system"]),
    (RC, r"^    (capabilities.*|oneshot|disabled|critical)", ["capabilities"]),
    (RC, r"^on post-fs-data((?:\n    mkdir .*)+)\n\n", ["".join(
        f"\n    mkdir /data/vendor/lum{path} 0770 system system" for path in ("", "/shared", "/shared/1503"))]),
    ("host/Android.bp", r'^    (?:relative_install_path|init_rc|vintf_fragments): \[?"(.*?)"',
     ["hw", PACKAGE + "-service.rc", PACKAGE + "-service.xml"]),
    ("interface/Android.bp", r'^    (?:stability|frozen): (.*),|^            version: (.*),',
     [('"vintf"', ""), ("", '"1"'), ("true", "")]),
    ("dropbox/Directories.cpp", r"kDirectoryMode = (\d+);", ["0770"]),
    # The log leaves out the dropbox and the slash behind it.
    ("service/Log.h", r"kUnloggedPathLength = (\d+);", [str(len("/data/vendor/lum/"))]),
    ("sepolicy/service_contexts", r"^(\S+)", [INSTANCE]),
    ("sepolicy/property_contexts", r"^(\S+)", ["vendor.tav.lum.", "vendor.tav.lum.frc.disable"]),
    ("docs/android.md", r"init\.svc\.([\w.]*\w)", ["vendor.lumvndhal"] * 2),
    (MAPPING + "/ILumvndhal.h", r"int32_t version = (\d+);", ["1"]),
    (MAPPING + "/ILumvndhal.h", r'hash = "(\w+)"', [(ROOT / SNAPSHOTS / "1/.hash").read_text().strip()]),
    # The order of the methods decides about their numbers in a call, that of the fields about a reply.
    (INTERFACE + "/ILumvndhal.aidl", r"^    (?:boolean|int) (\w+)\(",
     ["configure", "request_read", "get_vnd_data", "set_vnd_data", "update_vendor_dropbox",
      "write_data_to_vendor_dropbox"]),
    (MAPPING + "/ILumvndhal.h", r"TRANSACTION_(\w+) = FIRST_CALL_TRANSACTION \+ (\d);",
     [("configure", "0"), ("request_read", "1"), ("get_vnd_data", "2"), ("set_vnd_data", "3"),
      ("update_vendor_dropbox", "4"), ("write_data_to_vendor_dropbox", "5")]),
    (INTERFACE + "/LumvndhalGenericData.aidl", r"^    \w+ (\w+);", ["data_size", "data"]),
]

# What may follow "vendor.tav." anywhere.
NAMES = re.compile(r"lum\.(frc\.disable)?|lumvndhal_aidl(\.(ILumvndhal(:\w+)?|LumvndhalGenericData)"
                   r"|-(halimpl|service(\.rc|\.xml)?|V1-(ndk|java|rust)(\.so)?|update-api|freeze-api))?")

# Every path that the library's sources name, and some beside them, with their types.
LABELS = {
    "/data/vendor/lum": "lumvndhal_data_file",
    "/data/vendor/lum/shared/1503/nwstats.tmp": "lumvndhal_data_file",
    "/mnt/vendor/persist/lum": "lumvndhal_persist_file",
    "/sys/devices/soc0/serial_number": "sysfs_lumvndhal_soc",
    "/sys/devices/soc0/soc_id": "sysfs_lumvndhal_soc",
    "/vendor/firmware_mnt/verinfo/ver_info.txt": "lumvndhal_verinfo_file",
}
LABELS_BESIDE = {
    PROGRAM: "hal_lumvndhal_default_exec",
    "/system" + PROGRAM: "hal_lumvndhal_default_exec",
    "/mnt/vendor/persist/lum/frc.dat": "lumvndhal_persist_file",
    "/vendor/firmware_mnt/verinfo": "lumvndhal_verinfo_file",
    "/data/vendor/lumx": None,  # what a path without its first slash names
    "/data/vendor": None,
    PROGRAM + "2": None,
}


def read(path):
    return (ROOT / path).read_text(encoding="utf-8")


def names_in(directory, pattern):
    return sorted(str(path.relative_to(ROOT)) for path in (ROOT / directory).glob(pattern))


def parse_blueprint(text):
    """The modules of an Android.bp that holds modules only, each with its kind as "type"."""
    for pattern, by in [(r"//[^\n]*", ""), (r"(\w+):", r'"\1":'), (r"(\w+)\s*\{", r'{"type": "\1",'),
                        (r"\}\s*\{", "}, {"), (r",(\s*[}\]])", r"\1")]:
        text = re.sub(pattern, by, text)
    return json.loads("[" + text + "]")


def modules():
    found = {}
    for path in names_in(".", "Android.bp") + names_in(".", "*/Android.bp"):
        for module in parse_blueprint(read(path)):
            assert module["name"] not in found, module["name"]
            found[module["name"]] = {**module, "directory": str(Path(path).parent)}
    return found


def sources_of(name, known):
    """Of the module, of the file groups that it names and of what is linked into it."""
    parts = list(known[name].get("static_libs", []))
    paths = []
    for source in known[name].get("srcs", []):
        if source.startswith(":"):
            parts.append(source[1:])
        else:
            paths.append(str(Path(known[name]["directory"]) / source))
    return sorted(paths + [path for part in parts for path in sources_of(part, known)])


def definition(path):
    """Without comments, imports and the packages of types; blanks only where words would join."""
    text = re.sub(r"/\*.*?\*/|//[^\n]*|import [\w.]+;|\b(?:\w+\.)+(?=[A-Z])", "", read(path), flags=re.S)
    return re.sub(r" ?([{}()<>,;\[\]]) ?", r"\1", " ".join(text.split()))


def label_of(path):
    labels = [re.search(r":(\w+):s0", line)[1] for line in read("sepolicy/file_contexts").splitlines()
              if re.fullmatch(line.split()[0], path)]
    labels += re.findall(rf"^genfscon sysfs {path.removeprefix('/sys')} u:object_r:(\w+):s0$",
                         read("sepolicy/genfs_contexts"), re.M)
    assert len(labels) <= 1, (path, labels)
    return labels[0] if labels else None


def compiled_policy():
    """The policy with stand-ins for the platform's part, as the compiler writes it out."""
    sources = [POLICY / "macros.m4", POLICY / "platform.te", ROOT / "sepolicy/attributes",
               *sorted((ROOT / "sepolicy").glob("*.te"))]
    rules = subprocess.run(["m4", "--fatal-warnings", *sources], check=True, capture_output=True, text=True)
    with tempfile.TemporaryDirectory() as work:
        source, compiled = Path(work) / "policy.conf", Path(work) / "policy.cil"
        source.write_text((POLICY / "classes.conf").read_text() + rules.stdout
                          + (POLICY / "contexts.conf").read_text() + read("sepolicy/genfs_contexts"))
        run = subprocess.run(["checkpolicy", "-M", "-C", "-o", compiled, source], capture_output=True, text=True)
        assert run.returncode == 0, run.stdout + run.stderr
        return compiled.read_text()


def statements_of(policy):
    """What it allows, and what the service's types are, in the form of the file "allowed"."""
    said = set()
    for source, target, what, permissions in re.findall(
            r"^\(allow (\w+) (\w+) \((\w+) \((.*?)\)\)\)", policy, re.M):
        said |= {f"{source} {target}:{what} {permission}" for permission in permissions.split()}
    for attribute, members in re.findall(r"^\(typeattributeset (\w+) \((.*?)\)\)", policy, re.M):
        said |= {f"{member} is {attribute}" for member in members.split()
                 if "lumvndhal" in attribute + member}
    return said


def statements_allowed():
    said = set()
    for line in (POLICY / "allowed").read_text().splitlines():
        subject, permissions = re.fullmatch(r"(?:(\w+ (?:\w+:\w+|is)) ([\w ]+))?(?:#.*)?", line).groups()
        said |= {f"{subject} {permission}" for permission in (permissions or "").split()}
    return said


class Packaging(unittest.TestCase):
    maxDiff = None

    def test_names_are_the_same_everywhere(self):
        for path, pattern, expected in PLACES:
            with self.subTest(path=path, pattern=pattern):
                self.assertEqual(re.findall(pattern, read(path), re.M), expected)
        for path in (path for directory in ("docs", "host", "interface", "linux", "sepolicy", "service")
                     for kind in ("md", "bp", "cpp", "h", "te", "rc", "txt", "xml")
                     for path in names_in(directory, "**/*." + kind)):
            for name in re.findall(r"\bvendor\.tav\.([\w:.-]*\w|lum\.)", read(path)):
                self.assertTrue(NAMES.fullmatch(name), f"{path}: {name}")

    def test_both_builds_have_every_source(self):
        known = modules()
        for name, directories in {"halimpl": LIBRARY_DIRECTORIES, "service": ["host"]}.items():
            on_disk = [path for directory in directories for path in names_in(directory, "*.cpp")]
            in_cmake = [f"{directory}/{name}" for directory in directories
                        for name in re.findall(r"\w+\.cpp", read(directory + "/CMakeLists.txt"))]
            self.assertEqual(sources_of(f"{PACKAGE}-{name}", known), on_disk)
            self.assertEqual(sorted(set(in_cmake)), on_disk)

    def test_what_a_module_names_is_there_and_for_the_vendor_partition(self):
        known = modules()
        for name, module in known.items():
            used = [each for kind in ("shared_libs", "static_libs", "header_libs", "defaults")
                    for each in module.get(kind, []) if "lumvndhal" in each]
            self.assertLessEqual(set(used), {*known, PACKAGE + "-V1-ndk"}, name)
            for source in sources_of(name, known) if module["type"].startswith("cc_") else []:
                self.assertTrue((ROOT / source).is_file(), source)
            self.assertTrue(module["type"] in ("filegroup", "aidl_interface") or module.get("vendor")
                            or "lumvndhal_defaults" in used, name)

    def test_the_instance_is_declared(self):
        hal = f"hal[@format='aidl'][name='{PACKAGE}'][version='1']"
        for path, kind, below in [(RC.replace(".rc", ".xml"), "device", "[fqname='ILumvndhal/default']"),
                                  ("host/framework_compatibility_matrix.xml", "framework",
                                   "/interface[name='ILumvndhal'][instance='default']")]:
            root = ElementTree.fromstring(read(path))
            self.assertEqual((root.get("type"), len(root.findall(hal + below))), (kind, 1), path)

    def test_the_frozen_version_is_the_definition_and_has_its_hash(self):
        for path in names_in(INTERFACE, "*.aidl"):
            for version in ("current", "1"):
                frozen = f"{SNAPSHOTS}/{version}/vendor/tav/lumvndhal_aidl/{Path(path).name}"
                self.assertEqual(definition(frozen), definition(path), frozen)
        version = ROOT / SNAPSHOTS / "1"
        printed = subprocess.run([ROOT / "interface/frozen-hash", version], capture_output=True, text=True)
        self.assertEqual(printed.stdout, (version / ".hash").read_text())

    def test_documents_show_the_lines_of_the_examples(self):
        shown = [(path, *block) for path in names_in("docs", "*.md") for block in re.findall(
            r"<!-- lines of (\S+) -->\n *```\w+\n(.*?\n) *```", read(path), re.S)]
        self.assertEqual(len(shown), 4)
        for path, source, lines in shown:
            self.assertIn(re.sub("^ +", "", lines, flags=re.M), re.sub("^ +", "", read(source), flags=re.M), path)

    def test_the_policy_labels_what_the_code_uses(self):
        named = {path for directory in LIBRARY_DIRECTORIES for source in names_in(directory, "*.cpp")
                 for path in re.findall(r'"(/(?:data|mnt|sys|vendor)/.*?)"', read(source))}
        self.assertEqual({path: label_of(path) for path in named}, LABELS)
        self.assertEqual({path: label_of(path) for path in LABELS_BESIDE}, LABELS_BESIDE)
        rules = "".join(read(path) for path in names_in("sepolicy", "*.te"))
        types = re.findall(r"^(?:type |vendor_internal_prop\()(\w+)", rules, re.M)
        contexts = "".join(read(path) for path in names_in("sepolicy", "*_contexts"))
        self.assertEqual({*re.findall(r"u:object_r:(\w+):s0", contexts), "hal_lumvndhal_default"}, set(types))

    def test_the_policy_allows_what_is_listed_and_nothing_else(self):
        self.assertEqual(statements_of(compiled_policy()), statements_allowed())


if __name__ == "__main__":
    unittest.main()
