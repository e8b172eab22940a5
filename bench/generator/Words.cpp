#include "bench/generator/Words.h"

namespace vesk::bench {

namespace {

// The words people use most come more than once, so that letters and pairs of letters are about as frequent as in
// prose: how fast a word is found depends on it.
constexpr std::string_view englishWords[] = {
    "the",      "the",     "the",      "of",        "of",         "and",       "and",      "to",         "to",
    "a",        "a",       "in",       "in",        "is",         "that",      "it",       "for",        "was",
    "on",       "with",    "as",       "at",        "by",         "from",      "this",     "have",       "not",
    "but",      "they",    "which",    "we",        "are",        "were",      "there",    "about",      "after",
    "again",    "before",  "between",  "could",     "every",      "first",     "found",    "garden",     "terrace",
    "stone",    "water",   "winter",   "spring",    "autumn",     "morning",   "evening",  "meeting",    "drawing",
    "budget",   "invoice", "client",   "supplier",  "nursery",    "planting",  "pruning",  "roots",      "branches",
    "blossom",  "orchard", "meadow",   "quarry",    "granite",    "gravel",    "compost",  "irrigation", "valve",
    "pump",     "quiet",   "question", "quotation", "handle",     "handrail",  "heavy",    "harvest",    "hardly",
    "hours",    "house",   "arbour",   "labour",    "neighbour",  "colour",    "exotic",   "quick",      "quarter",
    "weekly",   "review",  "project",  "context",   "decision",   "moved",     "changed",  "waiting",    "promised",
    "revised",  "letter",  "chapter",  "outline",   "sentence",   "paragraph", "reader",   "patient",    "ground",
    "careful",  "measure", "through",  "because",   "should",     "without",   "another",  "nothing",    "perhaps",
    "already",  "almost",  "together", "school",    "children",   "family",    "kitchen",  "recipe",     "bread",
    "olive",    "lemon",   "fig",      "almond",    "camellia",   "jasmine",   "thyme",    "lavender",   "rosemary",
    "shade",    "light",   "shadow",   "river",     "valley",     "journal",   "memory",   "walking",    "running",
    "sleeping", "reading", "writing",  "listening", "train",      "station",   "website",  "launch",     "photograph",
    "caption",  "version", "archive",  "folder",    "attachment", "source",    "summary",  "price",      "total",
    "monthly",  "payment", "receipt",  "insurance", "permit",     "council",   "survey",   "boundary",   "don't",
    "it's",     "Helena",  "Wren",     "Oksana",    "Lisbon",     "October",   "November", "Thursday",   "Friday",
};

constexpr std::string_view portugueseWords[] = {
    "de",        "de",        "a",       "o",        "que",     "e",         "do",      "da",      "em",
    "um",        "para",      "com",     "não",      "uma",     "os",        "no",      "se",      "na",
    "por",       "mais",      "as",      "dos",      "como",    "mas",       "ao",      "ele",     "das",
    "à",         "seu",       "sua",     "ou",       "quando",  "muito",     "nos",     "já",      "também",
    "só",        "pelo",      "até",     "isso",     "jardim",  "água",      "pedra",   "terraço", "orçamento",
    "reunião",   "desenho",   "visita",  "obra",     "escola",  "crianças",  "pão",     "limão",   "oliveira",
    "estação",   "manhã",     "inverno", "verão",    "outono",  "primavera", "raízes",  "sombra",  "muro",
    "caminho",   "rotina",    "família", "saúde",    "joelho",  "recibo",    "imposto", "página",  "inicial",
    "plantação", "irrigação", "decisão", "questões", "próxima", "segunda",   "sábado",  "mês",
};

constexpr std::string_view germanWords[] = {
    "der",          "die",         "und",       "in",    "den",      "von",     "zu",       "das",      "mit",
    "sich",         "des",         "auf",       "für",   "ist",      "im",      "dem",      "nicht",    "ein",
    "eine",         "als",         "auch",      "es",    "an",       "werden",  "aus",      "er",       "hat",
    "dass",         "sie",         "nach",      "wird",  "bei",      "über",    "können",   "müssen",   "Gärten",
    "Garten",       "Wasser",      "Straße",    "Größe", "Maße",     "Mauer",   "Terrasse", "Frühling", "Sommer",
    "Herbst",       "Winter",      "Bäume",     "Äste",  "Wurzeln",  "Angebot", "Rechnung", "Gespräch", "Zeichnung",
    "Entscheidung", "Übersicht",   "schön",     "grün",  "ruhig",    "später",  "Woche",    "Monat",    "Überprüfung",
    "Pflanzliste",  "Bewässerung", "Schlüssel", "Küche", "Brötchen", "fließt",  "außen",
};

constexpr std::string_view russianWords[] = {
    "и",      "в",       "не",      "на",      "что",     "с",      "по",     "это",    "как",     "но",
    "из",     "у",       "за",      "от",      "так",     "для",    "мы",     "его",    "уже",     "или",
    "сад",    "вода",    "камень",  "терраса", "весна",   "осень",  "зима",   "лето",   "дерево",  "корни",
    "письмо", "встреча", "рисунок", "смета",   "счёт",    "семья",  "дети",   "школа",  "книга",   "глава",
    "утро",   "вечер",   "неделя",  "месяц",   "решение", "вопрос", "ответ",  "семена", "ромашка", "тишина",
    "ещё",    "потом",   "сегодня", "завтра",  "вчера",   "Оксана", "дорога", "река",   "подъезд", "объём",
};

constexpr std::string_view greekWords[] = {
    "και",     "το",      "της",    "η",         "του",      "να",         "με",     "για",     "στο",   "που",
    "από",     "είναι",   "δεν",    "θα",        "σε",       "την",        "ένα",    "μια",     "αλλά",  "πολύ",
    "κήπος",   "νερό",    "πέτρα",  "άνοιξη",    "χειμώνας", "ελιά",       "λεμόνι", "σκιά",    "φως",   "δέντρο",
    "ρίζες",   "δρόμος",  "σπίτι",  "σχολείο",   "παιδιά",   "βιβλίο",     "σελίδα", "ημέρα",   "πρωί",  "βράδυ",
    "ερώτηση", "απόφαση", "σχέδιο", "συνάντηση", "γράμμα",   "οικογένεια", "ψωμί",   "θάλασσα", "βουνό", "ποτάμι",
};

constexpr std::string_view japaneseWords[] = {
    "の",   "に",     "は",   "を",     "が",     "と",           "で",   "から", "まで",   "です", "ます",
    "した", "庭",     "庭園", "石",     "水",     "苔",           "灯籠", "飛石", "枯山水", "季節", "春",
    "夏",   "秋",     "冬",   "朝",     "夜",     "雨",           "風",   "光",   "影",     "木",   "根",
    "枝",   "花",     "椿",   "松",     "竹",     "梅",           "会議", "図面", "予算",   "計画", "決定",
    "質問", "週間",   "毎日", "学校",   "子ども", "家族",         "本",   "読む", "書く",   "歩く", "待つ",
    "静か", "美しい", "メモ", "ノート", "リスト", "プロジェクト",
};

constexpr Language english = {englishWords, " ", ", ", ". "};
constexpr Language portuguese = {portugueseWords, " ", ", ", ". "};
constexpr Language german = {germanWords, " ", ", ", ". "};
constexpr Language russian = {russianWords, " ", ", ", ". "};
constexpr Language greek = {greekWords, " ", ", ", ". "};
constexpr Language japanese = {japaneseWords, "", "、", "。"};

constexpr std::string_view tagNames[] = {
    "garden",
    "client",
    "area/studio",
    "area/home",
    "area/health",
    "idea",
    "meeting",
    "reading",
    "habit",
    "project/book",
    "project/website",
    "waiting",
    "someday",
    "recipe",
    "plants",
    "soil",
    "irrigation",
    "family/school",
    "journal",
    "budget",
    "travel",
    "família/rotina",
    "saúde",
    "сад",
    "計画",
    "große-ideen",
    "2026",
    "q4",
    "reference",
    "draft",
};

constexpr std::string_view codeTexts[] = {
    "total = sum(item.price for item in items)",
    "if (flow_rate > limit) { close(valve); }",
    "#!/usr/bin/env bash",
    "# not a heading, and #not-a-tag either",
    "- [ ] not a task #due/2026-01-01",
    "SELECT name, litres FROM zones WHERE active = 1;",
    "[[not a link]] stays as it is",
    "for f in *.txt; do wc -l \"$f\"; done",
    "{\"zone\": 3, \"minutes\": 20}",
    "    return litres * 0.264172  # gallons",
};

}  // namespace

const Language& language(Script script) {
  switch (script) {
    case Script::english: return english;
    case Script::portuguese: return portuguese;
    case Script::german: return german;
    case Script::russian: return russian;
    case Script::greek: return greek;
    case Script::japanese: return japanese;
  }
  return english;
}

std::span<const std::string_view> tags() { return tagNames; }
std::span<const std::string_view> codeLines() { return codeTexts; }

}  // namespace vesk::bench
