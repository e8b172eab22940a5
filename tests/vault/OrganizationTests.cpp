#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "core/vault/Organization.h"
#include "core/vault/Vault.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/vault/VaultTesting.h"

namespace vesk {
namespace {

using enum Bucket;
using Method = Organization::Method;
using Place = Organization::Place;
using Move = OrganizationChange::Move;
using test::refusal;
using test::TemporaryFolder;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::string_view settings = ".vesk/organization.json";

TEST(Bucket, IsCarriedByAFoldersName) {
  struct Case {
    const char* name;
    std::optional<Bucket> bucket;
  };
  const Case cases[] = {
      {"1. Projects", projects}, {"01-projects", projects}, {"2_Areas", areas},  {"  RESOURCES", resources},
      {"٣ - archive", archive},  {"①.Inbox", inbox},        {"Sources", {}},     {"3 Other", {}},
      {"Projects old", {}},      {"Projects ", {}},         {"01", {}},          {"", {}},
      {"\tAreas", {}},           {"Project", {}},           {"1) Projects", {}}, {"Inbox2", {}},
  };
  for (const Case& c : cases) EXPECT_EQ(bucket::matching(c.name), c.bucket) << c.name;
  for (const Bucket each : {inbox, projects, areas, resources, sources, archive, other})
    EXPECT_EQ(bucket::named(bucket::name(each)), each);
  EXPECT_EQ(bucket::named("inbox"), std::nullopt);
}

TEST(Organization, StartsWithThePlacesOfItsMethodInTheUsersLanguage) {
  struct Case {
    Method method;
    std::vector<Bucket> roles;
    std::vector<std::string> english, portuguese, spanish;
  };
  const std::vector<std::string> para = {"Inbox", "Projects", "Areas", "Resources", "Archive"};
  const Case cases[] = {
      {Method::vesk,
       {inbox, sources, resources, projects, archive},
       {"Inbox", "Sources", "Knowledge", "In progress", "Done"},
       {"Inbox", "Fontes", "Conhecimento", "Em andamento", "Concluído"},
       {"Inbox", "Fuentes", "Conocimiento", "En curso", "Terminado"}},
      {Method::para, {inbox, projects, areas, resources, archive}, para, para, para},
      {Method::ideas,
       {inbox, sources, resources, archive},
       {"Inbox", "Sources", "Ideas", "Archive"},
       {"Inbox", "Fontes", "Ideias", "Arquivo"},
       {"Inbox", "Fuentes", "Ideas", "Archivo"}},
      {Method::custom, {inbox}, {"Inbox"}, {"Inbox"}, {"Inbox"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(name(c.method));
    const std::pair<Language, std::vector<std::string>> languages[] = {
        {Language::english, c.english}, {Language::portuguese, c.portuguese}, {Language::spanish, c.spanish}};
    for (const auto& [language, folders] : languages) {
      std::vector<Place> places;
      for (std::size_t i = 0; i < folders.size(); ++i) places.push_back({c.roles[i], folders[i]});
      EXPECT_EQ(Organization::starting(c.method, language), (Organization{c.method, places}));
    }
    EXPECT_EQ(methodNamed(name(c.method)), c.method);
  }
  EXPECT_EQ(Organization::para(), Organization::starting(Method::para, Language::spanish));
}

TEST(Organization, IsMadeOfTheFoldersThatAreThere) {
  const auto placesOf = [](const std::vector<std::string>& folders) { return Organization::custom(folders).places; };
  EXPECT_THAT(placesOf({".obsidian", "Notes", "Inbox", "Archive"}),
              ElementsAre(Place{inbox, "Inbox"}, Place{resources, "Notes"}, Place{archive, "Archive"}));
  EXPECT_THAT(placesOf({}), ElementsAre(Place{inbox, "Inbox"}));
  EXPECT_THAT(
      placesOf({"Sources", "2 inbox", "Areas", "INBOX"}),
      ElementsAre(Place{inbox, "2 inbox"}, Place{inbox, "INBOX"}, Place{resources, "Sources"}, Place{areas, "Areas"}));
  EXPECT_EQ(Organization::custom({}).method, Method::custom);
}

TEST(Organization, GivesAFolderItsRole) {
  const Organization custom{Method::custom, {{projects, "Área"}, {archive, "área"}, {sources, "In"}}};
  EXPECT_EQ(custom.role("ÁREA"), projects) << "the first of that name";
  EXPECT_EQ(custom.role("A\u0301rea"), projects) << "however its accent is written";
  EXPECT_EQ(custom.role("02 - projects"), std::nullopt);
  EXPECT_EQ(Organization::para().role("02 - projects"), projects);
  EXPECT_EQ(Organization::para().role("Sources"), std::nullopt);
  EXPECT_EQ(Organization::starting(Method::vesk, Language::english).role("Projects"), std::nullopt);
  EXPECT_EQ(custom.place(archive)->folder, "área");
  EXPECT_EQ(custom.place(inbox), nullptr);
}

TEST(Organization, IsWrittenInOneFormAndKeepsWhatItDoesNotKnow) {
  const TemporaryFolder folder;
  const Vault vault(folder.path());
  vault.save(Organization{Method::custom, {{inbox, "In/box"}, {projects, "Área \"1\""}}});
  EXPECT_EQ(folder.read(settings),
            "{\n  \"method\" : \"custom\",\n  \"places\" : [\n"
            "    {\n      \"folder\" : \"In/box\",\n      \"role\" : \"Inbox\"\n    },\n"
            "    {\n      \"folder\" : \"Área \\\"1\\\"\",\n      \"role\" : \"Projects\"\n    }\n  ]\n}");

  folder.write(settings, R"({"version":1.10,"places":[{"role":"Areas","folder":"A","color":"red"}],"method":"para"})");
  EXPECT_EQ(vault.organization(), (Organization{Method::para, {{areas, "A"}}}));
  vault.save(Organization{Method::ideas, {{sources, "A"}, {inbox, "B"}}});
  EXPECT_EQ(folder.read(settings),
            "{\n  \"method\" : \"ideas\",\n  \"places\" : [\n"
            "    {\n      \"color\" : \"red\",\n      \"folder\" : \"A\",\n      \"role\" : \"Sources\"\n    },\n"
            "    {\n      \"folder\" : \"B\",\n      \"role\" : \"Inbox\"\n    }\n  ],\n  \"version\" : 1.10\n}");
}

TEST(Organization, ThatCannotBeReadIsPara) {
  const TemporaryFolder folder;
  const Vault vault(folder.path());
  folder.write("01 Projects/Plan.md", "");
  EXPECT_EQ(vault.organization(), std::nullopt);
  for (const char* text : {"", "{", "null", "[]", "{\"method\":\"para\"}", "{\"method\":\"Para\",\"places\":[]}",
                           "{\"method\":\"ideas\",\"places\":{}}", "{\"method\":\"ideas\",\"places\":[1]}",
                           "{\"method\":\"ideas\",\"places\":[{\"role\":\"inbox\",\"folder\":\"A\"}]}",
                           "{\"method\":\"ideas\",\"places\":[{\"role\":\"Inbox\",\"folder\":1}]}", "{\"\xFF\":1}"}) {
    SCOPED_TRACE(text);
    folder.write(settings, text);
    EXPECT_EQ(vault.organization(), std::nullopt);
    const VaultSnapshot snapshot = vault.scan();
    EXPECT_EQ(snapshot.organization, Organization::para());
    EXPECT_EQ(snapshot.notes.at(0)->bucket, projects);
  }
  vault.save(Organization::para());
  EXPECT_EQ(vault.organization(), Organization::para()) << "a broken file is replaced";
}

TEST(VaultAppearance, IsKeptWithWhatItDoesNotKnow) {
  const TemporaryFolder folder;
  const Vault vault(folder.path());
  EXPECT_EQ(vault.appearance(), VaultAppearance());
  folder.write(".vesk/appearance.json", R"({"theme":{"a":[]},"tagColors":{"x":"red"}})");
  EXPECT_EQ(vault.scan().appearance, (VaultAppearance{{}, {{"x", "red"}}}));
  vault.save(VaultAppearance{{{"A/B", "star"}}, {}});
  EXPECT_EQ(folder.read(".vesk/appearance.json"),
            "{\n  \"folderIcons\" : {\n    \"A/B\" : \"star\"\n  },\n  \"tagColors\" : {},\n"
            "  \"theme\" : {\n    \"a\" : []\n  }\n}");
  folder.write(".vesk/appearance.json", R"({"tagColors":{"x":1}})");
  EXPECT_EQ(vault.appearance(), VaultAppearance());
}

TEST(VaultLayout, MakesTheStructureOfANewVault) {
  const TemporaryFolder folder;
  const Vault vault(folder.path());
  folder.write("Areas/Kept.md", "kept");
  vault.createStructure({"Web: site", "Garden"}, {"Health"});
  EXPECT_THAT(folder.everything(), ElementsAre("Archive/", "Areas/", "Areas/Health/", "Areas/Kept.md", "Inbox/",
                                               "Projects/", "Projects/Garden/", "Projects/Web site/", "Resources/"));
  const TemporaryFolder untouched;
  EXPECT_EQ(refusal([&] {
              Vault(untouched.path()).createStructure({"fine", "."}, {});
            }),
            VaultError::Kind::invalidName);
  EXPECT_THAT(untouched.everything(), IsEmpty());
}

TEST(VaultLayout, AdoptsAVaultThatIsThere) {
  const TemporaryFolder folder;
  const Vault vault(folder.path());
  const Organization organization{Method::custom, {{inbox, "In"}, {areas, "Leben"}}};
  vault.adopt(organization, {"Health?"});
  EXPECT_EQ(vault.organization(), organization);
  EXPECT_THAT(folder.everything(), ElementsAre(".vesk/", ".vesk/organization.json", "In/", "Leben/", "Leben/Health/"));

  const TemporaryFolder untouched;
  const Vault other(untouched.path());
  const Organization outside{Method::custom, {{inbox, "In"}, {areas, "../evil"}}};
  EXPECT_EQ(refusal([&] { other.adopt(outside, {}); }), VaultError::Kind::outsideVault);
  EXPECT_EQ(refusal([&] { other.adopt(organization, {"  "}); }), VaultError::Kind::invalidName);
  EXPECT_THAT(untouched.everything(), IsEmpty());
}

TEST(VaultLayout, MovesTheContentsOfOldPlacesToNewOnes) {
  const TemporaryFolder folder;
  const Vault vault(folder.path());
  for (const char* path : {"1. Projects/B.md", "1. Projects/a/Plan.md", "1. Projects/.DS_Store", "Areas/B.md",
                           "Areas/C.md", "Resources/Same.md", "Knowledge/same.md", "Archive/.hidden", "Archive/Old.md",
                           "Inbox/Stays.md", "Loose/Stays.md"})
    folder.write(path, path);

  const Organization target = Organization::starting(Method::vesk, Language::english);
  const OrganizationChange change = vault.planChange(target);
  EXPECT_EQ(change.target, target);
  EXPECT_THAT(change.moves,
              ElementsAre(Move{"1. Projects/a", "In progress/a"}, Move{"1. Projects/B.md", "In progress/B.md"},
                          Move{"Archive/Old.md", "Done/Old.md"}, Move{"Areas/C.md", "In progress/C.md"},
                          Move{"Resources/Same.md", "Knowledge/Same.md"}));
  EXPECT_THAT(change.collisions, ElementsAre("Areas/B.md"));
  EXPECT_FALSE(folder.has("In progress")) << "planning changes nothing";

  vault.apply(change);
  EXPECT_EQ(vault.organization(), target);
  EXPECT_THAT(folder.everything(),
              ElementsAre(".vesk/", ".vesk/organization.json", "Archive/", "Archive/.hidden", "Areas/", "Areas/B.md",
                          "Done/", "Done/Old.md", "In progress/", "In progress/B.md", "In progress/C.md",
                          "In progress/a/", "In progress/a/Plan.md", "Inbox/", "Inbox/Stays.md", "Knowledge/",
                          "Knowledge/Same.md", "Knowledge/same.md", "Loose/", "Loose/Stays.md"));
  EXPECT_EQ(folder.read("In progress/B.md"), "1. Projects/B.md");
}

TEST(VaultLayout, LeavesAPlaceThatSurvivesOrHasNoSuccessor) {
  struct Case {
    std::vector<Place> from;
    std::vector<Place> to;
    std::vector<Move> moves;
  };
  const Case cases[] = {
      {{{areas, "A"}}, {{projects, "P"}}, {{"A/Note.md", "P/Note.md"}}},
      {{{areas, "A"}}, {{resources, "P"}}, {{"A/Note.md", "P/Note.md"}}},
      {{{projects, "A"}}, {{areas, "P"}, {resources, "Q"}}, {{"A/Note.md", "P/Note.md"}}},
      {{{areas, "A"}}, {{projects, "P"}, {areas, "a"}}, {}},
      {{{resources, "A"}}, {{sources, "P"}}, {{"A/Note.md", "P/Note.md"}}},
      {{{sources, "A"}}, {{resources, "P"}, {sources, "Q"}}, {{"A/Note.md", "Q/Note.md"}}},
      {{{archive, "A"}}, {{resources, "P"}}, {}},
      {{{inbox, "A"}}, {{projects, "P"}}, {}},
      {{{other, "A"}, {inbox, "missing"}}, {{other, "P"}, {inbox, "Q"}}, {{"A/Note.md", "P/Note.md"}}},
  };
  for (const Case& c : cases) {
    const TemporaryFolder folder;
    folder.write("A/Note.md", "");
    const Vault vault(folder.path());
    vault.save(Organization{Method::custom, c.from});
    EXPECT_EQ(vault.planChange({Method::custom, c.to}).moves, c.moves) << &c - cases;
  }
}

}  // namespace
}  // namespace vesk
