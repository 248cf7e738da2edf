"""The binding's build backend: makes the wheel and the source archive with the standard
library alone.

The binding is pure Python, so building it needs nothing but zip and tar. A backend that
asks for setuptools makes pip fetch setuptools from the network even where Debian's own is
installed; this one lets `pip install bindings/python` work offline.
"""

import base64
import hashlib
import io
import os
import re
import tarfile
import zipfile

_ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
_PACKAGE = "tolvana"


def _project():
    """The [project] table's plain string values of pyproject.toml."""
    fields, inside = {}, False
    with open(os.path.join(_ROOT, "pyproject.toml"), encoding="utf-8") as toml:
        for line in toml:
            line = line.strip()
            if line.startswith("["):
                inside = line == "[project]"
            elif inside:
                match = re.match(r'([\w-]+)\s*=\s*"([^"]*)"\s*$', line)
                if match:
                    fields[match.group(1)] = match.group(2)
    return fields


def _metadata():
    project = _project()
    with open(os.path.join(_ROOT, project["readme"]), encoding="utf-8") as readme:
        description = readme.read()
    headers = [
        "Metadata-Version: 2.1",
        "Name: " + project["name"],
        "Version: " + project["version"],
        "Summary: " + project["description"],
        "License: MIT",
        "Requires-Python: " + project["requires-python"],
        "Description-Content-Type: text/markdown",
    ]
    return project, "\n".join(headers) + "\n\n" + description


def _package_files():
    for folder, _, names in os.walk(os.path.join(_ROOT, _PACKAGE)):
        for name in sorted(names):
            if name.endswith(".py") or name == "py.typed":
                path = os.path.join(folder, name)
                yield path, os.path.relpath(path, _ROOT)


def _record_line(name, data):
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return "%s,sha256=%s,%d" % (name, digest, len(data))


def _write_wheel(directory, files):
    project, metadata = _metadata()
    distribution = "%s-%s" % (project["name"], project["version"])
    info = distribution + ".dist-info"
    files = list(files) + [
        (info + "/METADATA", metadata.encode()),
        (info + "/WHEEL", b"Wheel-Version: 1.0\nGenerator: tolvana-build\nRoot-Is-Purelib: true\nTag: py3-none-any\n"),
        (info + "/top_level.txt", (_PACKAGE + "\n").encode()),
    ]
    record = "\n".join(_record_line(name, data) for name, data in files) + "\n%s/RECORD,,\n" % info
    wheel_name = distribution + "-py3-none-any.whl"
    with zipfile.ZipFile(os.path.join(directory, wheel_name), "w", zipfile.ZIP_DEFLATED) as wheel:
        for name, data in files + [(info + "/RECORD", record.encode())]:
            wheel.writestr(name, data)
    return wheel_name


def get_requires_for_build_wheel(config_settings=None):
    return []


def get_requires_for_build_sdist(config_settings=None):
    return []


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    files = []
    for path, name in _package_files():
        with open(path, "rb") as source:
            files.append((name, source.read()))
    return _write_wheel(wheel_directory, files)


def build_editable(wheel_directory, config_settings=None, metadata_directory=None):
    # A path file puts the source folder itself on sys.path.
    return _write_wheel(wheel_directory, [("_tolvana_editable.pth", (_ROOT + "\n").encode())])


def build_sdist(sdist_directory, config_settings=None):
    project, metadata = _metadata()
    distribution = "%s-%s" % (project["name"], project["version"])
    members = [("pyproject.toml", None), (project["readme"], None), ("_build/backend.py", None)]
    members += [(name, None) for _, name in _package_files()]
    archive_name = distribution + ".tar.gz"
    with tarfile.open(os.path.join(sdist_directory, archive_name), "w:gz") as archive:
        for name, _ in members:
            archive.add(os.path.join(_ROOT, name), arcname=distribution + "/" + name)
        data = metadata.encode()
        entry = tarfile.TarInfo(distribution + "/PKG-INFO")
        entry.size = len(data)
        archive.addfile(entry, io.BytesIO(data))
    return archive_name
