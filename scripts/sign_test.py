"""Tells a difference from chance, where two answer the same questions."""
import math


def by_chance(only_first, only_second):
    """How likely so uneven a split, or one more uneven, is by chance (two-sided sign test).

    >>> by_chance(0, 0)
    1.0
    >>> by_chance(5, 0), by_chance(0, 5)  # all heads or all tails: 2 / 2^5
    (0.0625, 0.0625)
    >>> by_chance(8, 2)  # 2 * (1 + 10 + 45) / 2^10
    0.109375
    >>> by_chance(7, 7)
    1.0
    """
    n, k = only_first + only_second, min(only_first, only_second)
    return min(1.0, 2 * sum(math.comb(n, i) for i in range(k + 1)) / 2 ** n)


def compare(first, second):
    """Questions that only the first and only the second answers well, of two lists of bool.

    >>> compare([True, True, False, True], [True, False, True, False])
    {'only_first': 2, 'only_second': 1, 'by_chance': 1.0}
    >>> compare([True], [])
    Traceback (most recent call last):
    ValueError: zip() argument 2 is shorter than argument 1
    """
    pairs = list(zip(first, second, strict=True))
    one, other = pairs.count((True, False)), pairs.count((False, True))
    return {"only_first": one, "only_second": other, "by_chance": by_chance(one, other)}
