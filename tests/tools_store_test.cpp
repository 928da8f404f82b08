// tools_store_test.cpp - scenes with ADPCM sounds and whole archives.
#include "tests/tool_fixture.h"

namespace {

class Store : public ToolTest {
  protected:
    void SetUp() override { WriteRecordings(5000, 9000, 6103); }

    static run_t Render(const std::string& scene) {
        Write("s.toml", scene);
        return Run("render s.toml -o out.wav");
    }
    static std::string Rendered(const std::string& scene) {
        const run_t run = Render(scene);
        EXPECT_EQ(run.status, 0) << run.err;
        return Bytes("out.wav");
    }
    static std::string Sound(const std::string& file, const std::string& more = "") {
        return "[[sound]]\nfile = \"" + file + "\"\n" + more;
    }
};

// An archive's sounds bear their own names, and sound as they do from their files.
TEST_F(Store, ArchivesAreLoadedWhole) {
    const std::string events =
        "[[event]]\nat = 0\nvoice = \"v\"\nsound = \"two words\"\nloop = true\ndo = \"play\"\n"
        "[[event]]\nat = 0.05\nsound = \"b\"\ndo = \"one-shot\"\n";
    RunWell("import a.wav a.sn");
    RunWell("import b.wav b.isn");
    RunWell("archive create x.archive a.sn b.isn");
    std::string bytes = Bytes("x.archive");  // a name that only an archive can hold
    const size_t name = bytes.find(std::string("\0\0\0\1a\0", 6));
    ASSERT_NE(name, std::string::npos);
    Write("x.archive", bytes.replace(name, 6, std::string("\0\0\0\x09two words\0", 14)));

    const std::string head = "duration = 0.3\n";
    const std::string wanted =
        Rendered(head + Sound("a.sn", "name = \"two words\"\n") + Sound("b.isn") + events);
    for (const char* more : {"", "name = \"effects\"\n"})
        EXPECT_TRUE(Rendered(head + "[[archive]]\nfile = \"x.archive\"\n" + more + events) == wanted);
}

TEST_F(Store, ErrorsNameFileAndLine) {
    RunWell("import a.wav a.sn");
    RunWell("import b.wav b.isn");
    RunWell("import c.wav c.isn");
    RunWell("archive create x.archive a.sn b.isn");
    for (const auto& [from, to] :
         {std::pair("x.archive", "y.archive"), {"c.isn", "c.iss"}, {"c.isn", "d.iss"}})
        std::filesystem::copy_file(from, to);
    RunWell("archive create stream.archive d.iss");
    std::filesystem::remove("d.iss");
    Write("cut.archive", Bytes("x.archive").substr(0, 5000));
    const std::string head = "duration = 0.05\n";  // the case's text begins in line 2
    const std::string x = "[[archive]]\nfile = \"x.archive\"\n",
                      event = "[[event]]\nat = 0.0\nvoice = \"v\"\n";
    const struct {
        std::string scene, message;
    } cases[] = {
        {Sound("a.wav", "store = \"mp3\"\n"),
         "s.toml:4: store must be \"pcm\", \"adpcm\", \"stream\" or \"adpcm-stream\"\n"},
        {"[loader]\nmode = \"delayed\"\n", "s.toml:2: mode \"delayed\" needs delay_frames\n"},
        {"[loader]\ndelay_frames = 1\n", "s.toml:3: delay_frames needs mode = \"delayed\"\n"},
        {"[loader]\nmode = 1\n", "s.toml:3: mode must be \"each-frame\", \"thread\" or \"delayed\"\n"},
        {Sound("b.isn", "store = \"pcm\"\n"), "s.toml:4: b.isn is a sound file of the engine already"},
        {Sound("a.wav") + Sound("c.iss") + event + "sound = \"a\"\nqueue = [\"c\"]\n",
         "s.toml:10: voice v cannot play c\n"},
        {Sound("c.iss") + event + "sound = \"c\"\nsliding = true\n", "s.toml:8: c is no simple sound: "},
        {"[memory]\nstream_page_bytes = 0\n" + Sound("c.iss"),
         "c.iss: The engine cannot load this sound file\n"},
        {"[[archive]]\nname = \"x\"\n", "s.toml:2: file is missing\n"},
        {x + "path = 1\n", "s.toml:4: unknown key path\n"},
        {"[[archive]]\nfile = \"missing\"\n", "missing: "},
        {"[[archive]]\nfile = \"a.wav\"\n", "a.wav: Not a sound archive\n"},
        {"[[archive]]\nfile = \"cut.archive\"\n", "cut.archive: After "},
        {"[[archive]]\nfile = \"stream.archive\"\n", "d.iss: No such file or directory\n"},
        {x + "[[archive]]\nfile = \"y.archive\"\n", "s.toml:4: archive DefaultArchive is loaded already\n"},
        {x + "[[archive]]\nfile = \"y.archive\"\nname = \"y\"\n", "s.toml:4: there is another sound "},
        {x + Sound("a.wav"), "s.toml:4: there is another sound a\n"},
        {x + Sound("b.isn", "name = \"other\"\n"),
         "s.toml:4: archive DefaultArchive already has a sound b, from x.archive\n"},
        {x + event + "sound = \"c\"\n", "s.toml:7: unknown sound c\n"},
        {x + event + "sound = \"a\"\nqueue = [\n\"b\"]\n", "s.toml:9: voice v cannot play b\n"},
        {x + event + "sound = \"b\"\nsliding = true\n", "s.toml:8: b is no simple sound: it cannot slide\n"},
        {"[memory]\ndecoded_page_bytes = 0\n" + x, "x.archive: The engine does not load its sound b\n"},
        {"[memory]\ndecoded_page_bytes = 0\n" + Sound("b.isn"),
         "b.isn: The engine cannot load this sound file\n"},
    };
    // The same file as a sound of its own beside the archive: another name, another archive.
    (void)Rendered(head + x + Sound("b.isn", "name = \"other\"\narchive = \"z\"\n"));
    Write("out.wav", "older");
    for (const auto& test : cases) {
        SCOPED_TRACE(test.scene);
        AudioSystem::compressedPageBytes = 16384;
        Write("s.toml", head + test.scene);
        ExpectRefused({{"render s.toml -o out.wav", 1, test.message}});
    }
}

}  // namespace
