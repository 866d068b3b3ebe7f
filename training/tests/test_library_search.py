"""Where the shared library is looked for."""

import pytest

from vorun.engine import LibraryNotFoundError, Library, default_library, find_library


def test_an_argument_comes_first(monkeypatch, tmp_path):
    named, other = tmp_path / "a.so", tmp_path / "b.so"
    named.touch()
    other.touch()
    monkeypatch.setenv("VORUN_LIBRARY", str(other))
    assert find_library(named) == str(named)
    assert find_library() == str(other)


def test_a_named_file_that_is_missing_is_told(monkeypatch, tmp_path):
    with pytest.raises(LibraryNotFoundError, match="there is no library"):
        find_library(tmp_path / "none.so")
    monkeypatch.setenv("VORUN_LIBRARY", str(tmp_path / "none.so"))
    with pytest.raises(LibraryNotFoundError, match="there is no library"):
        find_library()


def test_what_is_no_library_is_told(tmp_path):
    (tmp_path / "text.so").write_text("no library")
    with pytest.raises(LibraryNotFoundError, match="cannot load"):
        Library(tmp_path / "text.so")


def test_a_library_is_loaded_once(library):
    assert default_library(library.path) is default_library(library.path)
    assert default_library(library) is library
