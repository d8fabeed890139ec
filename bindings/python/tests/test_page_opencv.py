import numpy
import pytest

import model
from conftest import picture
from page import run_example

cv2 = pytest.importorskip("cv2", reason="package python3-opencv is not there")


def test_opencv(tmp_path):
    frame = picture("rgb24", (1280, 720))
    cv2.imwrite(str(tmp_path / "frame.png"), frame)
    names = run_example("OpenCV", tmp_path)
    luma = cv2.cvtColor(frame, cv2.COLOR_BGR2YUV_I420)[:720]
    numpy.testing.assert_array_equal(names["y"], model.scaled(luma, (640, 360), "gray"))
    assert names["u"].shape == names["v"].shape == (180, 320)
    numpy.testing.assert_array_equal(names["bgr"], model.scaled(frame[100:500, 200:800], (300, 200), "rgb24"))
