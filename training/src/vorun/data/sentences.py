"""Texts to speak: sentences of Debian's fortunes where they are installed, sentences put together
from our own words, and words made of a script's syllables. What is said matters little; that all
sounds come in all orders does.
"""

from __future__ import annotations

import re
from functools import lru_cache
from pathlib import Path

import numpy as np

from .seeds import pick

_FORTUNES = Path("/usr/share/games/fortunes")
_FORTUNE_FILES = {
    "en": ("art", "computers", "cookie", "education", "food", "fortunes", "humorists", "kids",
           "law", "literature", "love", "medicine", "men-women", "miscellaneous", "news", "people",
           "pets", "platitudes", "politics", "science", "sports", "startrek", "wisdom", "work"),
    "de": ("de/*",), "cs": ("cs/*",), "es": ("es/*",), "it": ("it/*",), "pl": ("pl/*",),
}

_SUBJECTS = """the old fisherman|a young doctor|my neighbour's daughter|the whole village|nobody
|seven tired travellers|the judge|our history teacher|a flock of geese|the chief engineer|his wife
|every child in the street|the baker|an unknown caller|the first violin|their cousin George
|a thousand voices|the captain|this cheap umbrella|the shy photographer""".replace("\n", "")
_VERBS = """has never seen|quietly opened|will soon repair|might have chosen|forgot to bring|sold
|described|should not touch|is looking for|gave away|shows us|cannot afford|ought to paint
|just missed|would rather keep|dropped|used to admire|finds|threw|is measuring""".replace("\n", "")
_OBJECTS = """the broken clock|fresh bread and cheese|a pair of grey shoes|the last bus to town
|those strange drawings|his father's watch|five wooden chairs|the answer|a small yellow boat
|her favourite song|the bridge|an apple pie|the weather report|thick fog|most of the furniture
|a sharp knife|the judge's letter|sixteen sausages|the view over the valley|pure silver
""".replace("\n", "")
_ENDS = """before breakfast|in the middle of the night|without a word|behind the church
|for the third time|on Thursday|as usual|while it was raining|because of the noise|with both hands
|under the kitchen table|and everyone laughed|near the frozen lake|at half past six|in vain
|although it hurt|until the music stopped|for much less money|if you ask me|down by the harbour
""".replace("\n", "")
_SHORT = """yes|no, thank you|hello|good morning|wait a moment|left|right|what was that?|I see
|stop|over there|really?|three, two, one|exactly|not yet|come in|oh|well, perhaps|never mind|go on
""".replace("\n", "")

# (consonants, vowels, endings of syllables). Indic scripts are made from their common layout.
_SYLLABLES = {
    "latin": ("b c d f g h j k l m n p r s t v z sh ch st tr pl kr sp fl gr sk th f s t k".split(),
              "a e i o u a e i o ai ou ie".split(), ["n", "r", "s", "l", "m", "t"]),
    "cyrillic": ("б в г д ж з к л м н п р с т ф х ц ч ш щ ст тр пр св".split(),
                 "а е и о у ы я ю э".split(), ["н", "р", "с", "л", "й", "т"]),
    "greek": ("β γ δ ζ θ κ λ μ ν ξ π ρ σ τ φ χ ψ στ τρ πλ".split(), "α ε η ι ο υ ω ου αι".split(),
              ["ν", "ρ", "ς"]),
    "georgian": ("ბ გ დ ვ ზ თ კ ლ მ ნ პ ჟ რ ს ტ ფ ქ ღ ყ შ ჩ ც ძ წ ჭ ხ ჯ ჰ".split(),
                 "ა ე ი ო უ".split(), ["ნ", "რ", "ს"]),
    "kana": ("かきくけこさしすせそたちつてとなにぬねのはひふへほまみむめもやゆよらりるれろわがぎぐげござじずぜぞ"
             "だでどばびぶべぼ", [""], ["ん", "い", "う"]),
}
_INDIC_BLOCKS = {"devanagari": 0x900, "bengali": 0x980, "gurmukhi": 0xA00, "gujarati": 0xA80,
                 "oriya": 0xB00, "tamil": 0xB80, "telugu": 0xC00, "kannada": 0xC80,
                 "malayalam": 0xD00}
_INDIC_CONSONANTS = (0x15, 0x1A, 0x1C, 0x1F, 0x24, 0x28, 0x2A, 0x2E, 0x2F, 0x30, 0x32, 0x35, 0x38)
_INDIC_VOWELS = (None, 0x3E, 0x3F, 0x40, 0x41, 0x46, 0x47, 0x4B)


def sentence(rng: np.random.Generator, script: str = "latin", language: str = "en") -> str:
    """One that a voice of that script can read."""
    if script != "latin":
        return _of_syllables(rng, script)
    base = language.split("-")[0]
    chance = rng.random()
    told = _fortunes(base)
    if told and chance < 0.45:
        return pick(rng, told)
    if base == "en" or chance > 0.85:
        return _of_words(rng)
    return _of_syllables(rng, script)


def _of_words(rng: np.random.Generator) -> str:
    if rng.random() < 0.15:
        return ". ".join(pick(rng, _SHORT.split("|")) for _ in range(rng.integers(1, 5)))
    parts = [pick(rng, table.split("|")) for table in (_SUBJECTS, _VERBS, _OBJECTS, _ENDS)]
    if rng.random() < 0.15:
        parts.insert(2, str(rng.integers(2, 9999)))
    text = " ".join(parts)
    return text[0].upper() + text[1:] + pick(rng, (".", ".", ".", "?", "!"))


def _of_syllables(rng: np.random.Generator, script: str) -> str:
    words = []
    for _ in range(rng.integers(4, 13)):
        word = "".join(_syllable(rng, script) for _ in range(rng.integers(1, 5)))
        words.append(word + ("," if rng.random() < 0.12 else ""))
    return " ".join(words).rstrip(",") + "."


def _syllable(rng: np.random.Generator, script: str) -> str:
    if script == "hangul":
        return chr(0xAC00 + int(rng.integers(11172)))
    if script in _INDIC_BLOCKS:
        start = _INDIC_BLOCKS[script]
        vowel = pick(rng, _INDIC_VOWELS)
        return chr(start + pick(rng, _INDIC_CONSONANTS)) + (chr(start + vowel) if vowel else "")
    consonants, vowels, ends = _SYLLABLES[script]
    return (pick(rng, consonants) + pick(rng, vowels)
            + (pick(rng, ends) if rng.random() < 0.25 else ""))


@lru_cache(maxsize=None)
def _fortunes(language: str) -> tuple[str, ...]:
    """Sentences of 20 to 140 letters without what a voice stumbles over."""
    found: set[str] = set()
    for pattern in _FORTUNE_FILES.get(language, ()):
        for file in sorted(_FORTUNES.glob(pattern)):
            if file.suffix or not file.is_file():
                continue
            text = file.read_text(encoding="utf-8", errors="ignore")
            for told in re.split(r"\n%\n|(?<=[.!?])\s+", text):
                told = re.sub(r"\s+", " ", told).strip()
                if 20 <= len(told) <= 140 and re.fullmatch(r"[^\W\d_][\w ,.;:'!?-]*[.!?]", told):
                    found.add(told)
    return tuple(sorted(found))
