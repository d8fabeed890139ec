// Loads the plug-in that was built, and no other of its name.
#include <gst/gst.h>
#include <gtest/gtest.h>

namespace {

class GStreamer : public testing::Environment {
  void SetUp() override {
    gst_init(nullptr, nullptr);
    GError* error = nullptr;
    GstPlugin* const plugin = gst_plugin_load_file(FOURTAP_PLUG_IN, &error);
    ASSERT_TRUE(plugin) << (error ? error->message : "");
    gst_object_unref(plugin);
  }
  void TearDown() override { gst_deinit(); }
};

}  // namespace

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  testing::AddGlobalTestEnvironment(new GStreamer);
  return RUN_ALL_TESTS();
}
