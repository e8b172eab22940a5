#include "core/library/NoteTemplates.h"

namespace vesk {

std::string_view dailyNoteTemplate(Language language) {
  switch (language) {
    case Language::english: return "# {{date}}\n\n## Notes\n\n\n## Tasks\n\n- [ ] \n";
    case Language::portuguese: return "# {{date}}\n\n## Notas\n\n\n## Tarefas\n\n- [ ] \n";
    case Language::spanish: return "# {{date}}\n\n## Notas\n\n\n## Tareas\n\n- [ ] \n";
  }
  return {};
}

}  // namespace vesk
