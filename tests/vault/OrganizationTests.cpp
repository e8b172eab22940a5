#include "core/base/Text.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

using enum Bucket;
using Method = Organization::Method;
using Place = Organization::Place;
using Move = OrganizationChange::Move;
using OrganizationFile = test::VaultTest;
using VaultLayout = test::VaultTest;
using test::refusal;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::string_view settings = ".vesk/organization.json";

TEST(Bucket, IsCarriedByAFoldersName) {
  const std::pair<const char*, std::optional<Bucket>> cases[] = {
      {"1. Projects", projects}, {"01-projects", projects}, {"2_Areas", areas}, {"  RESOURCES", resources},
      {"٣ - archive", archive},  {"①.Inbox", inbox},        {"Sources", {}},    {"3 Other", {}},
      {"Projects old", {}},      {"Projects ", {}},         {"01", {}},         {"", {}},
      {"\tAreas", {}},           {"1) Projects", {}},       {"Inbox2", {}}};
  for (const auto& [name, role] : cases) EXPECT_EQ(bucket::matching(name), role) << name;
  for (const Bucket each : {inbox, projects, areas, resources, sources, archive, other})
    EXPECT_EQ(bucket::named(bucket::name(each)), each);
  EXPECT_EQ(bucket::named("inbox"), std::nullopt);
}

TEST(Organization, StartsWithPlacesInTheUsersLanguage) {
  const auto folders = [](Method method, Language language) {
    std::vector<std::string> names;
    for (const Place& place : Organization::starting(method, language).places) names.push_back(place.folder);
    return text::join(names, "/");
  };
  using enum Language;
  EXPECT_EQ(folders(Method::vesk, english), "Inbox/Sources/Knowledge/In progress/Done");
  EXPECT_EQ(folders(Method::vesk, portuguese), "Inbox/Fontes/Conhecimento/Em andamento/Concluído");
  EXPECT_EQ(folders(Method::vesk, spanish), "Inbox/Fuentes/Conocimiento/En curso/Terminado");
  EXPECT_EQ(folders(Method::ideas, portuguese), "Inbox/Fontes/Ideias/Arquivo");
  EXPECT_EQ(folders(Method::ideas, spanish), "Inbox/Fuentes/Ideas/Archivo");
  EXPECT_EQ(folders(Method::para, spanish), "Inbox/Projects/Areas/Resources/Archive");
}

TEST(Organization, IsMadeOfTheFoldersThatAreThere) {
  const auto placesOf = [](const std::vector<std::string>& folders) { return Organization::custom(folders).places; };
  EXPECT_THAT(placesOf({".obsidian", "Notes", "Archive"}),
              ElementsAre(Place{inbox, "Inbox"}, Place{resources, "Notes"}, Place{archive, "Archive"}));
  EXPECT_THAT(placesOf({"Sources", "2 inbox", "INBOX"}),
              ElementsAre(Place{inbox, "2 inbox"}, Place{inbox, "INBOX"}, Place{resources, "Sources"}));
}

TEST(Organization, GivesAFolderItsRole) {
  const Organization custom{Method::custom, {{projects, "Área"}, {archive, "área"}}};
  EXPECT_EQ(custom.role("ÁREA"), projects) << "the first of that name";
  EXPECT_EQ(custom.role("A\u0301rea"), projects) << "however its accent is written";
  EXPECT_EQ(custom.role("02 - projects"), std::nullopt);
  EXPECT_EQ(Organization::para().role("02 - projects"), projects);
  EXPECT_EQ(custom.place(archive)->folder, "área");
}

TEST_F(OrganizationFile, HasOneFormAndKeepsWhatVeskDoesNotKnow) {
  vault.save(Organization{Method::custom, {{inbox, "In/box"}, {projects, "Área \"1\""}}});
  EXPECT_EQ(folder.read(settings),
            "{\n  \"method\" : \"custom\",\n  \"places\" : [\n"
            "    {\n      \"folder\" : \"In/box\",\n      \"role\" : \"Inbox\"\n    },\n"
            "    {\n      \"folder\" : \"Área \\\"1\\\"\",\n      \"role\" : \"Projects\"\n    }\n  ]\n}");

  folder.write(settings, R"({"version":1.10,"places":[{"role":"Areas","folder":"A","color":"red"}],"method":"para"})");
  EXPECT_EQ(vault.organization(), (Organization{Method::para, {{areas, "A"}}}));
  vault.save(Organization{Method::ideas, {{sources, "A"}}});
  EXPECT_EQ(folder.read(settings),
            "{\n  \"method\" : \"ideas\",\n  \"places\" : [\n"
            "    {\n      \"color\" : \"red\",\n      \"folder\" : \"A\",\n      \"role\" : \"Sources\"\n    }\n  ],\n"
            "  \"version\" : 1.10\n}");
}

TEST_F(OrganizationFile, ThatCannotBeReadIsPara) {
  folder.write("01 Projects/Plan.md", "");
  for (const char* text : {"", "{", "null", R"({"method":"para"})", R"({"method":"Para","places":[]})",
                           R"({"method":"ideas","places":{}})", R"({"method":"ideas","places":[1]})",
                           R"({"method":"ideas","places":[{"role":"inbox","folder":"A"}]})",
                           R"({"method":"ideas","places":[{"role":"Inbox","folder":1}]})", "{\"\xFF\":1}"}) {
    SCOPED_TRACE(text);
    folder.write(settings, text);
    EXPECT_EQ(vault.organization(), std::nullopt);
    EXPECT_EQ(vault.scan().organization, Organization::para());
    EXPECT_EQ(vault.scan().notes.at(0)->bucket, projects);
  }
  vault.save(Organization::para());
  EXPECT_EQ(vault.organization(), Organization::para()) << "a broken file is replaced";
}

TEST_F(VaultLayout, KeepsAnAppearanceWithWhatVeskDoesNotKnow) {
  folder.write(".vesk/appearance.json", R"({"theme":{"a":[]},"tagColors":{"x":"red"}})");
  EXPECT_EQ(vault.scan().appearance, (VaultAppearance{{}, {{"x", "red"}}}));
  vault.save(VaultAppearance{{{"A/B", "star"}}, {}});
  EXPECT_EQ(folder.read(".vesk/appearance.json"),
            "{\n  \"folderIcons\" : {\n    \"A/B\" : \"star\"\n  },\n  \"tagColors\" : {},\n"
            "  \"theme\" : {\n    \"a\" : []\n  }\n}");
}

TEST_F(VaultLayout, IsMadeWholeOrNotAtAll) {
  const Organization good{Method::custom, {{inbox, "In"}, {areas, "Leben"}}};
  EXPECT_EQ(refusal([&] { vault.createStructure({"fine", "."}, {}); }), VaultError::Kind::invalidName);
  EXPECT_EQ(refusal([&] {
              vault.adopt({Method::custom, {{inbox, "In"}, {areas, "../evil"}}}, {});
            }),
            VaultError::Kind::outsideVault);
  EXPECT_EQ(refusal([&] { vault.adopt(good, {"  "}); }), VaultError::Kind::invalidName);
  EXPECT_THAT(folder.everything(), IsEmpty());

  vault.createStructure({"Web: site"}, {"Health"});
  EXPECT_THAT(folder.everything(), ElementsAre("Archive/", "Areas/", "Areas/Health/", "Inbox/", "Projects/",
                                               "Projects/Web site/", "Resources/"));
  vault.adopt(good, {"Health?"});
  EXPECT_EQ(vault.organization(), good);
  EXPECT_TRUE(folder.has("In"));
  EXPECT_TRUE(folder.has("Leben/Health"));
}

TEST_F(VaultLayout, MovesTheContentsOfOldPlacesToNewOnes) {
  for (const char* path : {"1. Projects/B.md", "1. Projects/a/Plan.md", "1. Projects/.DS_Store", "Areas/B.md",
                           "Areas/C.md", "Resources/Same.md", "Knowledge/same.md", "Archive/.hidden", "Archive/Old.md",
                           "Inbox/Stays.md", "Loose/Stays.md"})
    folder.write(path, path);
  const auto before = folder.everything();
  const Organization target = Organization::starting(Method::vesk, Language::english);
  const OrganizationChange change = vault.planChange(target);
  EXPECT_THAT(change.moves,
              ElementsAre(Move{"1. Projects/a", "In progress/a"}, Move{"1. Projects/B.md", "In progress/B.md"},
                          Move{"Archive/Old.md", "Done/Old.md"}, Move{"Areas/C.md", "In progress/C.md"},
                          Move{"Resources/Same.md", "Knowledge/Same.md"}));
  EXPECT_THAT(change.collisions, ElementsAre("Areas/B.md"));
  EXPECT_EQ(folder.everything(), before) << "planning changes nothing";

  vault.apply(change);
  EXPECT_EQ(vault.organization(), target);
  EXPECT_THAT(folder.everything(),
              ElementsAre(".vesk/", ".vesk/organization.json", "Archive/", "Archive/.hidden", "Areas/", "Areas/B.md",
                          "Done/", "Done/Old.md", "In progress/", "In progress/B.md", "In progress/C.md",
                          "In progress/a/", "In progress/a/Plan.md", "Inbox/", "Inbox/Stays.md", "Knowledge/",
                          "Knowledge/Same.md", "Knowledge/same.md", "Loose/", "Loose/Stays.md"));
  EXPECT_EQ(folder.read("In progress/B.md"), "1. Projects/B.md");
}

TEST_F(VaultLayout, LeavesAPlaceThatSurvivesOrHasNoSuccessor) {
  struct Case {
    std::vector<Place> from;
    std::vector<Place> to;
    const char* movedTo;  // "" for a note that stays
  };
  const Case cases[] = {{{{areas, "A"}}, {{projects, "P"}}, "P"},
                        {{{areas, "A"}}, {{resources, "P"}}, "P"},
                        {{{projects, "A"}}, {{areas, "P"}, {resources, "Q"}}, "P"},
                        {{{areas, "A"}}, {{projects, "P"}, {areas, "a"}}, ""},
                        {{{resources, "A"}}, {{sources, "P"}}, "P"},
                        {{{sources, "A"}}, {{resources, "P"}, {sources, "Q"}}, "Q"},
                        {{{archive, "A"}}, {{resources, "P"}}, ""},
                        {{{inbox, "A"}}, {{projects, "P"}}, ""},
                        {{{other, "A"}, {inbox, "missing"}}, {{other, "P"}, {inbox, "Q"}}, "P"}};
  folder.write("A/Note.md", "");
  for (const Case& c : cases) {
    vault.save(Organization{Method::custom, c.from});
    std::vector<Move> moves;
    if (*c.movedTo) moves.push_back({"A/Note.md", std::string(c.movedTo) + "/Note.md"});
    EXPECT_EQ(vault.planChange({Method::custom, c.to}).moves, moves) << &c - cases;
  }
}

}  // namespace
}  // namespace vesk
