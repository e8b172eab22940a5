#include "app/Examples.h"

#include <algorithm>

namespace vesk::app {

// Notes, projects and people are those of the sample vault.
const std::vector<Example>& examples() {
  // clang-format off
  static const std::vector<Example> all = {
      {"vesk",
       {"vesk open ~/Notes",
        "vesk search lemon tree",
        "vesk today",
        "vesk connect claude-code",
        "vesk chat",
        "vesk doctor"}},

      {"vesk open", {"vesk open ~/Notes", "vesk open ~/Notes --method para --language pt"}},
      {"vesk organize", {"vesk organize", "vesk organize ideas"}},
      {"vesk status", {"vesk status", "vesk status --json"}},
      {"vesk watch", {"vesk watch", "vesk watch --json"}},
      {"vesk doctor", {"vesk doctor", "vesk doctor --wait 60"}},

      {"vesk notes",
       {"vesk notes --limit 10",
        "vesk notes --folder Projects/Garden --tag prio/high",
        "vesk notes --unsorted"}},
      {"vesk search", {"vesk search lemon tree", "vesk search grafting --limit 5 --json"}},
      {"vesk journal",
       {"vesk journal",
        "vesk journal The first lemon has turned yellow",
        "vesk journal --day tomorrow"}},
      {"vesk capture", {"vesk capture A bench against the south wall", "vesk capture < letter.md"}},
      {"vesk edit", {"vesk edit lemon tree", "vesk edit 'Projects/Garden/Lemon Tree.md'"}},

      {"vesk overview", {"vesk overview", "vesk overview --limit 5"}},
      {"vesk projects", {"vesk projects"}},
      {"vesk areas", {"vesk areas"}},
      {"vesk topics", {"vesk topics --limit 10"}},
      {"vesk context", {"vesk context Garden", "vesk context Garden --edit"}},
      {"vesk map", {"vesk map --limit 20"}},
      {"vesk health", {"vesk health", "vesk health --limit 3"}},
      {"vesk query",
       {"vesk query tag:garden 'text:lemon tree' sort:title",
        "vesk query folder:Projects limit:5 --json"}},

      {"vesk tasks", {"vesk tasks", "vesk tasks --due tomorrow --folder Projects/Garden", "vesk tasks --status doing"}},
      {"vesk add",
       {"vesk add 'Order the drip line 20m #garden' --due tomorrow",
        "vesk add Call Ana --folder Projects/Garden"}},
      {"vesk doing", {"vesk doing call ana"}},
      {"vesk done", {"vesk done call ana", "vesk done Inbox/Tasks.md#51"}},
      {"vesk todo", {"vesk todo call ana"}},
      {"vesk today", {"vesk today", "vesk today --day tomorrow"}},
      {"vesk week", {"vesk week", "vesk week --from 2026-11-23"}},
      {"vesk backlog", {"vesk backlog"}},
      {"vesk plan", {"vesk plan --from tomorrow", "vesk plan --ics week.ics"}},
      {"vesk hours", {"vesk hours", "vesk hours 09:00-17:30 --hide-weekends"}},

      {"vesk diagrams", {"vesk diagrams"}},
      {"vesk diagram", {"vesk diagram show 'Book Map'", "vesk diagram svg 'Book Map' -o book.svg"}},
      {"vesk diagram show", {"vesk diagram show 'Book Map'"}},
      {"vesk diagram svg",
       {"vesk diagram svg 'Book Map' -o book.svg",
        "vesk diagram svg 'Book Map' --theme dark > book.svg"}},

      {"vesk mail", {"vesk mail add ana@example.org", "vesk mail sync", "vesk mail list --unread"}},
      {"vesk mail add",
       {"vesk mail add ana@example.org --name 'Ana Duarte'",
        "vesk mail add ana@example.org --imap imap.example.org --smtp smtp.example.org:465",
        "vesk mail add ana@example.org --password-stdin < password"}},
      {"vesk mail accounts", {"vesk mail accounts"}},
      {"vesk mail remove", {"vesk mail remove ana@example.org"}},
      {"vesk mail sync", {"vesk mail sync", "vesk mail sync --watch ana@example.org"}},
      {"vesk mail list", {"vesk mail list", "vesk mail list --folder sent --limit 50"}},
      {"vesk mail waiting", {"vesk mail waiting"}},
      {"vesk mail search", {"vesk mail search invoice ana"}},
      {"vesk mail read", {"vesk mail read 12", "vesk mail read 12 --html > letter.html"}},
      {"vesk mail attachment", {"vesk mail attachment 12 1", "vesk mail attachment 12 1 invoice.pdf"}},
      {"vesk mail mark", {"vesk mail mark 12 13 --read", "vesk mail mark 12 --flagged"}},
      {"vesk mail move", {"vesk mail move 12 13 archive"}},
      {"vesk mail draft",
       {"vesk mail draft --to helena@example.org --subject Terrace",
        "vesk mail draft --to helena@example.org --subject Terrace < letter.txt"}},
      {"vesk mail reply", {"vesk mail reply 12", "vesk mail reply 12 --all"}},
      {"vesk mail drafts", {"vesk mail drafts", "vesk mail drafts show 3f2", "vesk mail drafts edit 3f2"}},
      {"vesk mail drafts show", {"vesk mail drafts show 3f2"}},
      {"vesk mail drafts edit", {"vesk mail drafts edit 3f2"}},
      {"vesk mail drafts delete", {"vesk mail drafts delete 3f2"}},
      {"vesk mail send", {"vesk mail send 3f2"}},

      {"vesk meeting",
       {"vesk meeting start Terrace with Helena",
        "vesk meeting say 'Me: Shall we begin?'",
        "vesk meeting stop"}},
      {"vesk meeting start", {"vesk meeting start Terrace with Helena"}},
      {"vesk meeting say", {"vesk meeting say 'Me: Shall we begin?'", "vesk meeting say --others < talk.txt"}},
      {"vesk meeting show", {"vesk meeting show"}},
      {"vesk meeting stop", {"vesk meeting stop", "vesk meeting stop --discard"}},
      {"vesk meeting list", {"vesk meeting list --limit 5"}},
      {"vesk meeting brief", {"vesk meeting brief Terrace with Helena"}},
      {"vesk meeting ask", {"vesk meeting ask what did we promise them"}},
      {"vesk meeting watch", {"vesk meeting watch", "vesk meeting watch --every 300", "vesk meeting watch --quiet"}},
      {"vesk meeting summary", {"vesk meeting summary", "vesk meeting summary Terrace with Helena"}},
      {"vesk meeting import", {"vesk meeting import call.vtt --title Terrace --start '2026-11-17 15:00' --me Ana"}},

      {"vesk sync", {"vesk sync connect git@example.org:ana/notes.git", "vesk sync now"}},
      {"vesk sync connect",
       {"vesk sync connect git@example.org:ana/notes.git",
        "vesk sync connect ~/notes.git --merge"}},
      {"vesk sync now", {"vesk sync now"}},
      {"vesk sync status", {"vesk sync status"}},
      {"vesk sync history", {"vesk sync history --limit 5"}},
      {"vesk sync off", {"vesk sync off"}},

      {"vesk chat",
       {"vesk chat", "vesk chat which tasks of the garden are overdue?", "vesk chat --continue --provider claude"}},
      {"vesk connect",
       {"vesk connect",
        "vesk connect claude-code",
        "vesk connect claude-desktop",
        "vesk connect codex"}},
      {"vesk disconnect", {"vesk disconnect claude-code", "vesk disconnect codex"}},
      {"vesk access", {"vesk access", "vesk access on createNotes append", "vesk access level important"}},
      {"vesk access on", {"vesk access on createNotes append"}},
      {"vesk access off", {"vesk access off append"}},
      {"vesk access level", {"vesk access level important"}},
      {"vesk proposals", {"vesk proposals"}},
      {"vesk review", {"vesk review", "vesk review --approve 3f2 --decline a01", "vesk review --approve all"}},
      {"vesk actions", {"vesk actions --limit 10", "vesk actions --changes"}},
      {"vesk undo", {"vesk undo --last", "vesk undo 3f2 --yes"}},
      {"vesk call", {"vesk call", "vesk call read_note --help", "vesk call list_notes --limit 3"}},
      {"vesk import", {"vesk import chatgpt ~/Downloads/chatgpt-export", "vesk import claude conversations.json"}},
      {"vesk import chatgpt", {"vesk import chatgpt ~/Downloads/chatgpt-export"}},
      {"vesk import claude", {"vesk import claude conversations.json"}},

      {"vesk completions",
       {"vesk completions bash > ~/.local/share/bash-completion/completions/vesk",
        "vesk completions zsh > ~/.zsh/completions/_vesk",
        "vesk completions fish > ~/.config/fish/completions/vesk.fish"}},
  };
  // clang-format on
  return all;
}

std::span<const std::string_view> examplesOf(std::string_view command) {
  const auto found = std::ranges::find(examples(), command, &Example::command);
  return found == examples().end() ? std::span<const std::string_view>() : std::span(found->lines);
}

}  // namespace vesk::app
