// The tool model as panels and configuration files use it: parameter lists, ranges, refusals,
// and whole-file load/export with nothing changed on a bad file.

#include "camera/CameraTools.h"
#include "quorvel/DvsCameraManager.h"
#include "quorvel/JsonUtils.h"

#include "SyntheticStream.h"

#include <gtest/gtest.h>


using namespace quorvel;
using namespace quorvel::detail;

namespace {

std::shared_ptr<DvsCamera> openSim(const char* serial = "QVSIM-DVS-0001") {
    unsetenv("QUORVEL_VIRTUAL_CAMERAS");
    DvsCameraManager m;
    auto cam = m.openCamera(serial);
    EXPECT_TRUE(cam) << DvsCameraManager::lastError();
    return cam;
}

int intParam(CameraTool& t, const std::string& name) {
    int v = -12345;
    EXPECT_TRUE(t.getIntParam(name, v)) << name;
    return v;
}

} // namespace

TEST(CameraTools, SettersCheckTypeRangeAndOptions) {
    auto cam = openSim();
    auto biases = cam->getTool(TOOL_BIASES);
    EXPECT_TRUE(biases->setIntParam("bias_diff_on", 40));
    EXPECT_EQ(intParam(*biases, "bias_diff_on"), 40);
    EXPECT_FALSE(biases->setIntParam("bias_diff_on", 141));
    EXPECT_FALSE(biases->setIntParam("bias_diff_on", -86));
    EXPECT_FALSE(biases->setBoolParam("bias_diff_on", true));
    EXPECT_EQ(intParam(*biases, "bias_diff_on"), 40);
    EXPECT_TRUE(biases->setIntParam("bias_diff_on", 0));

    auto afk = cam->getTool(TOOL_ANTI_FLICKER);
    EXPECT_FALSE(afk->setEnumParam("mode", "notch"));
    EXPECT_TRUE(afk->setEnumParam("mode", "band_pass"));
    std::string mode;
    EXPECT_TRUE(afk->getEnumParam("mode", mode));
    EXPECT_EQ(mode, "band_pass");
    EXPECT_TRUE(afk->setEnumParam("mode", "band_stop"));
    EXPECT_FALSE(afk->setFloatParam("duty_cycle", 100.5f));
    // The band cannot be inverted.
    EXPECT_TRUE(afk->setIntParam("low_frequency", 100));
    EXPECT_FALSE(afk->setIntParam("high_frequency", 90));
    EXPECT_TRUE(afk->setIntParam("low_frequency", 50));
}

TEST(CameraTools, RoiRefusesWindowsOutsideTheSensor) {
    auto cam = openSim();
    auto roi = cam->getTool(TOOL_ROI);
    IntParameterInfo w;
    ASSERT_TRUE(roi->getIntParamInfo("width", w));
    EXPECT_EQ(w.max, 640);
    EXPECT_EQ(w.default_value, 640);
    EXPECT_EQ(intParam(*roi, "height"), 480);
    // A full-width window cannot move right; shrinking it first makes room.
    EXPECT_FALSE(roi->setIntParam("x", 10));
    EXPECT_EQ(intParam(*roi, "x"), 0);
    EXPECT_TRUE(roi->setIntParam("width", 100));
    EXPECT_TRUE(roi->setIntParam("x", 540));
    EXPECT_FALSE(roi->setIntParam("x", 541));
    EXPECT_FALSE(roi->setIntParam("width", 101));
    EXPECT_EQ(intParam(*roi, "x"), 540);
    EXPECT_EQ(intParam(*roi, "width"), 100);
    EXPECT_TRUE(roi->setIntParam("x", 0));
    EXPECT_TRUE(roi->setIntParam("width", 640));
}

TEST(CameraTools, AnEventOnlyCameraIsNotAFusionCamera) {
    unsetenv("QUORVEL_VIRTUAL_CAMERAS");
    DvsCameraManager m;
    EXPECT_FALSE(m.openFusionCamera("QVSIM-DVS-0001"));
    EXPECT_NE(DvsCameraManager::lastError().find("not a fusion camera"), std::string::npos);
}

class ConfigFiles : public ::testing::Test {
protected:
    test::TempDir dir;
};

TEST_F(ConfigFiles, ExportThenLoadRestoresEveryTool) {
    auto cam = openSim();
    auto roi = cam->getTool(TOOL_ROI);
    ASSERT_TRUE(roi->setIntParam("width", 200));
    ASSERT_TRUE(roi->setIntParam("x", 100));
    ASSERT_TRUE(cam->getTool(TOOL_BIASES)->setIntParam("bias_refr", 77));
    ASSERT_TRUE(cam->getTool(TOOL_EVENT_TRAIL_FILTER)->setEnumParam("type", "stc_keep_trail"));
    ASSERT_TRUE(cam->getTool(TOOL_TRIGGER_IN)->setBoolParam("channel_1_enable", true));
    const std::string path = dir.file("cam.json");
    ASSERT_TRUE(cam->exportCameraConfigParams(path)) << cam->lastError();

    Json doc;
    ASSERT_TRUE(readJsonFile(path, doc));
    for (const char* key : {"Biases", "TirggerIn", "AntiFlicker", "EventRateControl", "EventTrailFilter", "ROI"})
        EXPECT_TRUE(doc.contains(key)) << key;
    EXPECT_EQ(doc["ROI"]["x"], 100);
    EXPECT_EQ(doc["TirggerIn"]["channel_1_enable"], true);
    EXPECT_FALSE(doc.contains("APS"));

    // Back to other values, then load: everything returns.
    ASSERT_TRUE(roi->setIntParam("x", 0));
    ASSERT_TRUE(cam->getTool(TOOL_BIASES)->setIntParam("bias_refr", 0));
    ASSERT_TRUE(cam->getTool(TOOL_EVENT_TRAIL_FILTER)->setEnumParam("type", "trail"));
    ASSERT_TRUE(cam->loadCameraConfigParams(path)) << cam->lastError();
    EXPECT_EQ(intParam(*roi, "x"), 100);
    EXPECT_EQ(intParam(*cam->getTool(TOOL_BIASES), "bias_refr"), 77);
    std::string type;
    cam->getTool(TOOL_EVENT_TRAIL_FILTER)->getEnumParam("type", type);
    EXPECT_EQ(type, "stc_keep_trail");
    // Restore for other tests (cameras are shared while open).
    ASSERT_TRUE(roi->setIntParam("x", 0));
    ASSERT_TRUE(roi->setIntParam("width", 640));
    ASSERT_TRUE(cam->getTool(TOOL_BIASES)->setIntParam("bias_refr", 0));
    ASSERT_TRUE(cam->getTool(TOOL_TRIGGER_IN)->setBoolParam("channel_1_enable", false));
}

TEST_F(ConfigFiles, BadFilesAreRefusedWithAReasonAndChangeNothing) {
    auto cam = openSim();
    auto biases = cam->getTool(TOOL_BIASES);
    ASSERT_TRUE(biases->setIntParam("bias_diff_off", 12));
    struct Case {
        const char* name;
        const char* text;
        const char* reason;
    };
    const Case cases[] = {
        {"malformed", "{\"Biases\": {\"bias_diff_off\": 30,", "parse"},
        {"array", "[1, 2]", "not a camera configuration"},
        {"wrong type", R"({"Biases": {"bias_diff_off": 30}, "ROI": {"enable": "yes"}})", "ROI"},
        {"fraction for int", R"({"Biases": {"bias_diff_off": 30.5}})", "integer"},
        {"out of range", R"({"Biases": {"bias_diff_off": 30}, "EventRateControl": {"event_rate": 0}})", "event_rate"},
        {"bad option", R"({"Biases": {"bias_diff_off": 30}, "AntiFlicker": {"mode": "notch"}})", "notch"},
        {"roi outside", R"({"Biases": {"bias_diff_off": 30}, "ROI": {"x": 600, "width": 100}})", "outside"},
        {"section not object", R"({"Biases": 5})", "not an object"},
    };
    for (const Case& c : cases) {
        const std::string path = dir.file("bad.json");
        test::writeFile(path, c.text);
        EXPECT_FALSE(cam->loadCameraConfigParams(path)) << c.name;
        EXPECT_NE(cam->lastError().find(c.reason), std::string::npos) << c.name << ": " << cam->lastError();
        EXPECT_EQ(intParam(*biases, "bias_diff_off"), 12) << c.name;
    }
    EXPECT_FALSE(cam->loadCameraConfigParams(dir.file("missing.json")));
    // Unknown sections and keys are other firmware's business: ignored.
    test::writeFile(dir.file("extra.json"), R"({"Biases": {"bias_diff_off": 3, "bias_new": 1}, "Other": {}})");
    EXPECT_TRUE(cam->loadCameraConfigParams(dir.file("extra.json"))) << cam->lastError();
    EXPECT_EQ(intParam(*biases, "bias_diff_off"), 3);
    ASSERT_TRUE(biases->setIntParam("bias_diff_off", 0));
}

TEST_F(ConfigFiles, FactoryFilesLoadIntoTheirCameras) {
    auto dvs = openSim();
    DvsCameraManager m;
    auto fusion = m.openFusionCamera("QVSIM-FUS-0001");
    ASSERT_TRUE(dvs && fusion);
    const std::string root = QV_SOURCE_DIR "/resources/config/";
    const std::pair<DvsCamera*, std::string> files[] = {{dvs.get(), root + "dvs_default_config.json"},
                                                        {fusion.get(), root + "fusion_cmaera_default_config.json"}};
    for (const auto& [cam, path] : files) {
        ASSERT_TRUE(cam->loadCameraConfigParams(path)) << cam->lastError();
        // The factory files hold every parameter the cameras publish.
        Json doc;
        ASSERT_TRUE(readJsonFile(path, doc));
        for (const auto& ti : cam->getAllToolsInfo()) {
            const std::string key = toolSectionKey(ti.type);
            ASSERT_TRUE(doc.contains(key)) << path << " " << key;
            std::map<std::string, BasicParameterInfo> infos;
            cam->getTool(ti.type)->getAllParamsInfo(infos);
            for (const auto& [name, info] : infos)
                EXPECT_TRUE(doc[key].contains(name)) << path << " " << key << "." << name;
        }
    }
}
