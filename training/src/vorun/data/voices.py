"""The synthesised voices, and which split each belongs to.

A speaker appears in one split alone, also where several programs have been made from the same
recordings. Of espeak-ng, whose voices are a language's sounds through a variant's throat, both the
languages and the variants are split.
"""

from __future__ import annotations

import re
import shutil
import subprocess
from dataclasses import dataclass
from functools import lru_cache
from pathlib import Path

TRAINING, VALIDATION, TEST = "training", "validation", "test"
SPLITS = (TRAINING, VALIDATION)

_FESTIVAL_FOLDER = Path("/usr/share/festival/voices")


@dataclass(frozen=True)
class Voice:
    """One way of speaking.

    program   "espeak-ng", "flite" or "festival"
    name      as the program takes it
    speaker   the person or, for espeak-ng, the variant
    script    of the texts that it can read; see sentences.py
    language  of texts that it reads well, if there is one
    """

    program: str
    name: str
    speaker: str
    script: str = "latin"
    language: str = "en"


# Cut from recordings of people, and so the closest to them. (split, voice)
RECORDED = (
    (TRAINING, Voice("flite", "slt", "slt")),
    (TRAINING, Voice("festival", "cmu_us_slt_arctic_hts", "slt")),
    (TRAINING, Voice("flite", "kal", "kal")),
    (TRAINING, Voice("flite", "kal16", "kal")),
    (TRAINING, Voice("festival", "kal_diphone", "kal")),
    (TRAINING, Voice("festival", "ked_diphone", "ked")),
    (TRAINING, Voice("festival", "msu_ru_nsh_clunits", "nsh", "cyrillic", "ru")),
    (TRAINING, Voice("festival", "czech_dita", "dita", language="cs")),
    (TRAINING, Voice("festival", "czech_machac", "machac", language="cs")),
    (TRAINING, Voice("festival", "czech_ph", "ph", language="cs")),
    (TRAINING, Voice("festival", "suo_fi_lj_diphone", "lj", language="fi")),
    (TRAINING, Voice("festival", "pc_diphone", "pc", language="it")),
    (TRAINING, Voice("festival", "hindi_NSK_diphone", "nsk", "devanagari", "hi")),
    (TRAINING, Voice("festival", "marathi_NSK_diphone", "nsk", "devanagari", "mr")),
    (TRAINING, Voice("festival", "telugu_NSK_diphone", "nsk", "telugu", "te")),
    (VALIDATION, Voice("flite", "awb", "awb")),
    (VALIDATION, Voice("festival", "lp_diphone", "lp", language="it")),
    (VALIDATION, Voice("festival", "czech_krb", "krb", language="cs")),
    (TEST, Voice("flite", "rms", "rms")),
    (TEST, Voice("festival", "hy_fi_mv_diphone", "mv", language="fi")),
    (TEST, Voice("festival", "upc_ca_ona_hts", "ona", language="ca")),
)

# Everything else is for training.
ESPEAK_LANGUAGES = {
    TEST: ("it", "pl", "ko", "hu", "en-gb-scotland", "tr"),
    VALIDATION: ("en-gb-x-rp", "sv", "pt-br", "el", "cs", "ta"),
}
ESPEAK_VARIANTS = {
    TEST: ("f3", "m4", "Andrea", "Denis", "Lee", "Gene", "Gene2"),
    VALIDATION: ("f5", "m6", "steph", "steph2", "steph3", "Michael", "linda", "victor"),
}
# Robots, whispers by buzzing and caricatures teach the wrong thing.
_NO_PEOPLE = re.compile(r"whisper|robo|unirobot|demonic|announcer|^fast|croak|grand|ricishay"
                        r"|zac|serious|caleb|tweaky|storm|boris|aunty", re.IGNORECASE)
# espeak-ng's own codes where a script is not Latin; languages in other scripts are left out.
_SCRIPTS = {
    "be": "cyrillic", "bg": "cyrillic", "kk": "cyrillic", "ky": "cyrillic", "mk": "cyrillic",
    "ru": "cyrillic", "ru-lv": "cyrillic", "sr": "cyrillic", "tt": "cyrillic", "uk": "cyrillic",
    "ba": "cyrillic", "cv": "cyrillic", "el": "greek", "ka": "georgian", "hi": "devanagari",
    "mr": "devanagari", "ne": "devanagari", "kok": "devanagari", "bn": "bengali", "as": "bengali",
    "pa": "gurmukhi", "gu": "gujarati", "or": "oriya", "ta": "tamil", "te": "telugu",
    "kn": "kannada", "ml": "malayalam", "ko": "hangul", "ja": "kana",
}
_LATIN = frozenset((
    "af an az bs ca cs cy da de en-029 en-gb en-gb-scotland en-gb-x-gbclan en-gb-x-gbcwmd "
    "en-gb-x-rp en-us en-us-nyc eo es es-419 et eu fi fr-be fr-ch fr-fr ga gd gn haw hr ht hu ia "
    "id io is it ku la lb lfn lt ltg lv mi ms mt nb nci nl nog om pap pl pt pt-br quc ro sk sl smj "
    "sq sv sw tk tn tr tw uz").split())


@lru_cache(maxsize=None)
def recorded_voices(split: str) -> tuple[Voice, ...]:
    """Those that this machine has."""
    return tuple(voice for place, voice in RECORDED if place == split and _is_installed(voice))


@lru_cache(maxsize=None)
def espeak_languages(split: str) -> tuple[tuple[str, str], ...]:
    """(language, script) of a split, in a fixed order."""
    found = _espeak_column("--voices", r"^\s*\d+\s+(\S+)")
    named = [(code, "latin" if code in _LATIN else _SCRIPTS[code])
             for code in found if code in _LATIN or code in _SCRIPTS]
    return tuple(entry for entry in named if _split_of(entry[0], ESPEAK_LANGUAGES) == split)


@lru_cache(maxsize=None)
def espeak_variants(split: str) -> tuple[str, ...]:
    """Of a split, in a fixed order."""
    found = [name for name in _espeak_column("--voices=variant", r"!v/(.+?)\s*$")
             if not _NO_PEOPLE.search(name)]
    return tuple(name for name in found if _split_of(name, ESPEAK_VARIANTS) == split)


def missing_programs() -> list[str]:
    return [name for name in ("espeak-ng", "flite", "festival") if not shutil.which(name)]


def _split_of(name: str, table: dict[str, tuple[str, ...]]) -> str:
    for split, names in table.items():
        if name.lower() in (held.lower() for held in names):
            return split
    return TRAINING


def _is_installed(voice: Voice) -> bool:
    if not shutil.which(voice.program):
        return False
    return voice.program != "festival" or any(_FESTIVAL_FOLDER.glob(f"*/{voice.name}"))


def _espeak_column(option: str, pattern: str) -> list[str]:
    if not shutil.which("espeak-ng"):
        return []
    listed = subprocess.run(["espeak-ng", option], capture_output=True, text=True, check=True)
    found = (re.search(pattern, line) for line in listed.stdout.splitlines()[1:])
    return sorted({match.group(1) for match in found if match})
