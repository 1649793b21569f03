// SPDX-License-Identifier: MIT
// Trees of models and the hierarchy file in both flavours.
#include "foreign_image/animText.h"
#include "support/memoryFile.h"
#include "tinyFile.h"
#include "tinyModel.h"

#include <algorithm>
#include <numbers>

namespace {

using namespace animtext;

using Tree = std::unique_ptr<Model, ModelDisposer>;

Model* node(const char* name, Model* parent = nullptr) {
    Model* model = modelAllocate();
    model->name = name != nullptr ? strdup(name) : nullptr;
    if (parent != nullptr) {
        EXPECT_EQ(modelCreateParentship(parent, model), 1);
    }
    return model;
}

/// The names in walk order from `start`: "a b c", an unnamed node as "-".
std::string walk(const Model* start) {
    std::string names;
    for (const Model* at = start; at != nullptr; at = modelNextNode(at)) {
        names += (names.empty() ? "" : " ") + std::string(at->name != nullptr ? at->name : "-");
    }
    return names;
}

// --- Tree ----------------------------------------------------------------------------------------

/// root(a(a1 a2) b(b1) c)
class ModelTree : public AnimText {
  protected:
    Tree root{node("root")};
    Model* a = node("a", root.get());
    Model* b = node("b", root.get());
    Model* c = node("c", root.get());
    Model* a1 = node("a1", a);
    Model* a2 = node("a2", a);
    Model* b1 = node("b1", b);
};

TEST_F(ModelTree, WalksParentsBeforeChildrenAndOutOfTheSubtree) {
    EXPECT_EQ(walk(root.get()), "root a a1 a2 b b1 c");
    EXPECT_EQ(walk(a1), "a1 a2 b b1 c") << "a walk begun inside a subtree goes on behind it";
    EXPECT_EQ(modelNextNode(a2), b);
    EXPECT_EQ(modelNextNode(c), nullptr);
    EXPECT_EQ(modelNextNode(nullptr), nullptr);
}

TEST_F(ModelTree, RefusesChildrenThatHaveAParentOrAreAncestors) {
    Tree lone(node("lone"));
    EXPECT_EQ(modelCreateParentship(lone.get(), a), 0) << "has a parent";
    EXPECT_EQ(modelCreateParentship(a1, root.get()), 0) << "is an ancestor";
    EXPECT_EQ(modelCreateParentship(root.get(), root.get()), 0) << "is itself";
    EXPECT_EQ(modelCreateParentship(nullptr, lone.get()), 0);
    EXPECT_EQ(modelCreateParentship(lone.get(), nullptr), 0);
    EXPECT_EQ(walk(root.get()), "root a a1 a2 b b1 c");
}

TEST_F(ModelTree, CutsWithTheSubtree) {
    EXPECT_EQ(ModelCut(b), 1);
    EXPECT_EQ(walk(root.get()), "root a a1 a2 c");
    EXPECT_EQ(walk(b), "b b1") << "the subtree leaves with it";
    EXPECT_EQ(modelCreateParentship(c, b), 1);
    EXPECT_EQ(walk(root.get()), "root a a1 a2 c b b1");
    EXPECT_EQ(ModelCut(root.get()), 1) << "a root is as good as cut";
    EXPECT_EQ(ModelCut(nullptr), 0);
    Model stray = {};
    stray.parent = a; // which does not know it
    EXPECT_EQ(ModelCut(&stray), 0);
    EXPECT_EQ(stray.parent, a);
    modelDispose(&a);
    EXPECT_EQ(a, nullptr);
    EXPECT_EQ(walk(root.get()), "root c b b1");
    modelDispose(&a);
    modelDispose(nullptr);
}

TEST_F(ModelTree, FindsFromTheStartNodeToTheEndOfTheWholeTree) {
    EXPECT_EQ(modelNodeFindByName(root.get(), "b1"), b1);
    EXPECT_EQ(modelNodeFindByName(a, "a"), a);
    EXPECT_EQ(modelNodeFindByName(a, "c"), c) << "beyond the start node's subtree";
    EXPECT_EQ(modelNodeFindByName(b, "a1"), nullptr) << "never backwards";
    EXPECT_EQ(modelNodeFindByName(root.get(), "A"), nullptr);
    std::free(std::exchange(a->name, nullptr));
    EXPECT_EQ(modelNodeFindByName(root.get(), "a1"), a1) << "past a node without a name";
    EXPECT_EQ(modelNodeFindByName(nullptr, "a"), nullptr);
    EXPECT_EQ(modelNodeFindByName(root.get(), nullptr), nullptr);
}

TEST_F(ModelTree, CarriesUserData) {
    UserData* blocks[3] = {};
    for (auto& block : blocks) {
        block = static_cast<UserData*>(std::calloc(1, sizeof(UserData)));
        std::fill_n(block->tag, 4, static_cast<char>('A' + (&block - blocks)));
    }
    EXPECT_EQ(modelAttachUserData(a, blocks[0]), 1);
    EXPECT_EQ(modelAttachUserData(a, blocks[1]), 1);
    EXPECT_EQ(modelAttachUserData(a, blocks[1]), 0) << "already there";
    EXPECT_EQ(modelAttachUserData(nullptr, blocks[2]), 0);
    EXPECT_EQ(modelSearchUserData(a, "BBBB"), blocks[1]);
    EXPECT_EQ(modelSearchUserData(a, "CCCC"), nullptr);
    nodeldisposeUserData(a, &blocks[2]);
    EXPECT_NE(blocks[2], nullptr) << "not the node's";
    nodeldisposeUserData(a, &blocks[0]);
    EXPECT_EQ(blocks[0], nullptr);
    EXPECT_EQ(a->userData, blocks[1]);
    userDataDispose(&blocks[2]);
}

// --- Text form -----------------------------------------------------------------------------------

class ModelText : public AnimText {
  protected:
    /// Reads the body after the word "model".
    static Tree read(std::string_view body, std::size_t piece = 0) {
        animSetLineNumber(1);
        const Input in(body, piece);
        return Tree(modelReadAscii(in));
    }
    static std::string write(const Model* root, const char* prefix = "") {
        return written([&](std::FILE* f) { EXPECT_EQ(modelWriteAscii(f, root, prefix), 1); });
    }
    /// Reads what `write` wrote.
    static Tree reread(const std::string& text) { return read(text.substr(text.find('{'))); }
};

TEST_F(ModelText, WritesAndReadsTheNodeHeaderToTheLetter) {
    const Tree top =
        read("{ rotation 90 0 -45 translation -3.25 100 0 model { scaling 1 2 0.5 } }");
    EXPECT_FLOAT_EQ(top->rotation[0], std::numbers::pi_v<float> / 2) << "radians in memory";
    EXPECT_EQ(top->child->name, nullptr) << "an empty name is none";
    EXPECT_EQ(
        write(top.get(), "> "),
        "\n> model\n> {\n> name         \"\"\n> scaling      1.000 1.000 1.000\n"
        "> rotation     90.000 0.000 -45.000\n> translation  -3.250 100.000 0.000\n"
        "\n>   model\n>   {\n>   name         \"\"\n>   scaling      1.000 2.000 0.500\n"
        ">   rotation     0.000 0.000 0.000\n>   translation  0.000 0.000 0.000\n>   }\n> }\n");
    EXPECT_EQ(notices(), "");
}

TEST_F(ModelText, BlocksAreTheSameHoweverTheStreamIsBuffered) {
    const std::string body =
        "{ mesh\n{ [0] \"name } q\" 'x' 1.25    -3\t!{ {a}\n } \\xe9|b } name \"n\""
        "other words\r\n      12{b}c d \0 material { \"cut\n }"s;
    const Tree whole = read(body, 1);
    const std::string told = notices();
    EXPECT_EQ(opaqueWordLength(whole->contents->next), 5U) << "\"other\"";
    EXPECT_NE(told.find("cut"), std::string::npos) << told;
    for (std::size_t piece = 2; piece < 40; ++piece) {
        EXPECT_EQ(write(read(body, piece).get()), write(whole.get())) << piece;
        EXPECT_EQ(notices(), told) << piece;
    }
}

struct TextCase {
    const char* body;    ///< after the word "model"
    const char* written; ///< the text after the header lines of the node when it is written again
    const char* notices = "";
};

constexpr TextCase kTextCases[] = {
    {"{ }", "}\n"},
    // No braces round the root.
    {"name \"a\" }", "}\n"},
    // Unknown block kept.
    {"{\n mesh\n {\n  1 {2} \"}\"\n }\n}", "\n  mesh\n {\n  1 {2} \"}\"\n }\n}\n"},
    // Braces without blanks.
    {"{mesh{a}material{b}}", "\n  mesh{a}\n\n  material{b}\n}\n"},
    // Block without braces.
    {"{ texture a b c\nactor_data }", "\n  texture a b c\n\n  actor_data\n}\n"},
    // Table words inside braces and quotes.
    {"{ face { mesh } \"patch\" x }", "\n  face { mesh } \"patch\" x\n}\n"},
    {"{\n\nfoo 1 2\nmesh 3 }", "\n  foo 1 2\n\n  mesh 3\n}\n", "kept foo 3;"},
    // Too few numbers.
    {"{ scaling 2 mesh }", "\n  mesh\n}\n", "missing scaling 1;"},
    // Name without quotes.
    {"{ name\nmesh }", "\n  mesh\n}\n", "missing name 2;"},
    // End of file in a block.
    {"{ mesh { a \"b", "\n  mesh { a \"b\" }\n}\n", "cut mesh 1;missing } 1;"},
    // End of file in a node.
    {"{ name \"a\"\n", "}\n", "missing } 2;"},
    {"{ userData \"ABCD\" size 2 { 0a ff } }",
     "\n  userData \"ABCD\"\n  size 2\n  {\n\t0a ff \n  }\n}\n"},
};

TEST_F(ModelText, KeepsWhatItDoesNotKnow) {
    for (const TextCase& test : kTextCases) {
        SCOPED_TRACE(test.body);
        const Tree root = read(test.body);
        ASSERT_NE(root, nullptr);
        EXPECT_EQ(notices(), test.notices);
        const std::string once = write(root.get());
        const std::size_t header = once.find("translation");
        EXPECT_EQ(once.substr(once.find('\n', header) + 1), test.written);
        const Tree again = reread(once);
        notices();
        EXPECT_EQ(write(again.get()), once) << "after one pass nothing changes any more";
    }
}

TEST_F(ModelText, DepthIsBounded) {
    const auto nested = [](std::size_t levels) {
        return read("{" + repeated(levels - 1, " model {") + std::string(levels, '}'));
    };
    write(nested(kModelMaxTextDepth).get());
    const Tree deepest = nested(kModelMaxNodes / kStep);
    ASSERT_NE(deepest, nullptr) << "as many levels as nodes";
    EXPECT_EQ(modelNodeFindByName(deepest.get(), "x"), nullptr);
    EXPECT_EQ(modelWriteFile("never-written", deepest.get(), 0), 0) << "its text would be blanks";
    EXPECT_EQ(nested(kModelMaxNodes + 1), nullptr);
    // Braces inside a block have a separate limit, beyond which the whole block is dropped.
    const std::string block = "{ mesh " + std::string(1000, '{') + std::string(1000, '}');
    const Tree root = read(block + " name \"kept\" }");
    EXPECT_EQ(root->contents, nullptr);
    EXPECT_STREQ(root->name, "kept");
    EXPECT_EQ(notices(), "failed  0;failed  1;cut mesh 1;");
}

TEST_F(ModelText, AQuoteInsideANameBecomesTheOtherKind) {
    const std::string text = write(Tree(node("a\"} b")).get());
    EXPECT_STREQ(reread(text)->name, "a'} b");
    EXPECT_EQ(notices(), "dropped a\"} b 0;");
}

TEST_F(ModelText, DegreesComeOutAsTheyWentIn) {
    EXPECT_EQ(read("{ scaling 1.5xyz 2 3 }")->scaling[0], 1.5F) << "as far as there are numbers";
    for (const char* degrees : {"0.001", "-359.999", "7200.123", "123456.789", "99999999.000"}) {
        const std::string line = std::string("{ rotation ") + degrees + " 0 0 }";
        const std::string once = write(read(line).get());
        EXPECT_EQ(write(reread(once).get()), once) << degrees;
    }
}

// --- Files ---------------------------------------------------------------------------------------

class ModelFile : public AnimText {
  protected:
    support::TempDir dir;
    support::MemoryFile file{dir, "m.hrc"};

    Tree readBytes(std::string_view bytes) {
        file.set(bytes);
        return Tree(modelReadFile((dir / "m").c_str()));
    }
    std::string fileOf(const Model* root, int flavour) {
        EXPECT_EQ(modelWriteFile((dir / "m").c_str(), root, flavour), 1);
        return file.get();
    }
};

Tree sample() {
    return Tree(modelReadFile(TDR_SOURCE_DIR "/samples/desk_lamp"));
}

/// One node, "x" at rest, by hand: header, the node's list of twenty fields, the fields.
std::string lonelyNode() {
    const std::string one = be32(0x3F800000);
    return kBinaryHeader + "PROT" + words({5,  21, 1,  2,  3,  4,  5,  6,  7,  8,  9, 10,
                                           11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 0, 0}) +
           "HRCHx\0"s + one + one + one + std::string(24, '\0') + // rotation, translation
           std::string(32, '\0'); // eleven counts of contents, children, four numbers
}

TEST_F(ModelFile, BinaryFileByHand) {
    const Tree root(node("x"));
    std::fill_n(root->scaling, 3, 1.0F);
    EXPECT_EQ(fileOf(root.get(), 1), lonelyNode());
    const Tree again = readBytes(lonelyNode());
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(fileOf(again.get(), 1), lonelyNode());
}

TEST_F(ModelFile, ContentsSurviveTheBinaryForm) {
    Tree root = readBytes("HRCH: x\n\nmodel { texture 1 mesh 2 foo 3 texture 4 mesh 5 "
                          "userData \"NONE\" size 0 { } }");
    root = readBytes(fileOf(root.get(), 1));
    std::string texts;
    for (const Opaque* block = root->contents; block != nullptr; block = block->next) {
        texts += std::string(block->text) + ";";
    }
    EXPECT_EQ(texts, "texture 1;mesh 2 foo 3;texture 4;mesh 5;");
    const UserData* data = modelSearchUserData(root.get(), "NONE");
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(data->size, 0);
    EXPECT_EQ(data->data, nullptr);
    EXPECT_NE(fileOf(root.get(), 0).find("size 0\n"), std::string::npos);
}

TEST_F(ModelFile, UnknownTokensAreToldAndSkipped) {
    std::int16_t tokens[] = {1, 99, 17, 0};
    Prototype prototype{};
    prototype.lengths[0] = 4;
    prototype.lists[0] = tokens;
    const Tree root(node("x"));
    root->hidden = 3;
    const std::string body =
        written([&](std::FILE* f) { EXPECT_EQ(modelWriteBinary(f, root.get(), &prototype), 1); });
    EXPECT_EQ(body, "x\0\0\3"s);
    const std::string writer = messages();
    EXPECT_TRUE(writer.starts_with("Error: tinyModel: ") &&
                writer.ends_with(": illegal token: 99\n"))
        << writer;
    const Tree again(modelReadBinary(Input(body), &prototype));
    ASSERT_NE(again, nullptr);
    EXPECT_EQ(again->hidden, 3);
    const std::string reader = messages();
    EXPECT_TRUE(reader.starts_with("Error: tinyModel ") &&
                reader.ends_with("): illegal token: 99\n"))
        << reader;
}

TEST_F(ModelFile, RecordsOfAlmostNoBytesAreRefused) {
    std::int16_t nodeFields[] = {2, 8, 16, 0};
    std::int16_t name[] = {1, 0};
    std::int16_t step[] = {5, 0};
    for (std::int16_t* splineFields : {step, name}) {
        Prototype prototype{};
        prototype.lengths[0] = 4;
        prototype.lists[0] = nodeFields;
        prototype.lengths[8] = 2;
        prototype.lists[8] = splineFields;
        const std::string body = std::string(12, '\0') + be16(2) + std::string(6, '\0');
        EXPECT_EQ(Tree(modelReadBinary(Input(body), &prototype)) != nullptr, splineFields == step)
            << "empty names fill memory from nothing";
    }
}

TEST_F(ModelFile, EveryTruncationAndBitFlipEndsCleanly) {
    const Tree root = sample();
    option.level = 0;
    forEachTruncation(fileOf(root.get(), 1), 0, [this](const std::string& cut) {
        EXPECT_EQ(readBytes(cut), nullptr) << cut.size();
    });
    forEachBitFlip(lonelyNode(), 0,
                   [this](const std::string& flipped, auto) { readBytes(flipped); });
}

TEST_F(ModelFile, WideTreesTakeTimeInProportion) {
    const Tree root =
        readBytes("HRCH: x\n\nmodel {" + repeated(60000, " model { mesh 1 mesh 2 }") + " }");
    ASSERT_NE(root, nullptr);
    EXPECT_NE(readBytes(fileOf(root.get(), 1)), nullptr);
}

} // namespace
