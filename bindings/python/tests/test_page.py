import numpy
import pytest

import model
from conftest import picture
from page import run_example


def test_numpy(tmp_path):
    names = run_example("NumPy", tmp_path)
    assert names["small"].shape == (720, 1280, 3) and names["window"].shape == (200, 320, 3)


def test_pillow(tmp_path):
    image = pytest.importorskip("PIL.Image", reason="package python3-pil is not there")
    cut_out = picture("rgba32", (320, 200))
    image.fromarray(cut_out).save(tmp_path / "cut-out.png")
    run_example("Pillow", tmp_path)
    thumbnail = numpy.asarray(image.open(tmp_path / "thumbnail.png"))
    numpy.testing.assert_array_equal(thumbnail, model.scaled(cut_out, (160, 120), "rgba32"))
    assert image.open(tmp_path / "thumbnail.jpg").size == (160, 120)


def test_loader(tmp_path):
    image = pytest.importorskip("PIL.Image", reason="package python3-pil is not there")
    (tmp_path / "pictures").mkdir()
    sources = [picture("rgb24", (230 + number, 300)) for number in range(9)]
    for number, source in enumerate(sources):
        image.fromarray(source).save(tmp_path / "pictures" / f"{number}.png")
    names = run_example("A loader for training", tmp_path)
    assert len(names["batch"]) == 8
    for scaled, source in zip(names["batch"], sources):
        numpy.testing.assert_array_equal(scaled, model.scaled(source, (224, 224), "rgb24"))
