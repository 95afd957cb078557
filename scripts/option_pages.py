"""What the program tells of its options ('nvqscan help --table') in the man page, the user guide and
the completion: each has parts between two marks, which --fix writes anew. Without it they are
compared, and every option is looked for where people meet it: in --help, in the man page as it is
shown, in the guide, and among what bash completes."""

import difflib
import json
import re
import subprocess
import sys
import textwrap

MAN = "docs/nvqscan.1"
GUIDE = "docs/user-guide.md"
COMPLETION = "tools/completion/nvqscan.bash"
PROGRAM = "nvqscan"


def run(*words, data=None):
    return subprocess.run(words, capture_output=True, text=True, check=False, input=data)


def notes_of(option):
    return " ".join(filter(None, [option["text"], option["notes"] and f"[{option['notes']}]"]))


def blank_of(option):
    """Between names and value; a value that can be left out comes behind '='."""
    return " " if option["names"] and option["value"][:1] not in ("", "[") else ""


def by_group(command):
    """What goes by its place, and then the groups, in their order."""
    groups = {}
    for option in command["options"]:
        groups.setdefault(option["group"] if option["names"] else "", []).append(option)
    return groups


# ---- The man page


def roff(text):
    """Options, and negative numbers, with a real minus; options bold."""
    text = text.replace("\\", "\\e")

    def minus(match):
        word = match.group(0).replace("-", "\\-")
        return word if word[2:3].isdigit() else f"\\fB{word}\\fR"

    text = re.sub(r"(?<![\w-])--?\w[\w-]*", minus, text)
    return "\n".join("\\&" + line if line[:1] in ".'" else line for line in textwrap.wrap(text, 96))


def roff_usage(usage):
    def shown(match):
        word = match.group(0)
        return roff(word) if word.startswith("-") else f"\\fI{word}\\fR"

    words = usage.split(" [OPTIONS]")
    plain = f"\\fB{words[0]}\\fR"
    if len(words) == 1:
        return plain
    return plain + " [\\fIOPTIONS\\fR]" + re.sub(r"-+[\w-]+|[A-Z|]+", shown, words[1])


def man_synopsis(table):
    lines = [roff_usage(command["usage"]) for command in table if command["name"]]
    return "\n.br\n".join(lines) + "\n"


def man_options(table):
    lines = []
    for command in table:
        name = command["name"]
        lines += [f".SS {name}" if name else ".SS All commands", roff(command["text"]) + "."]
        for group, options in by_group(command).items():
            if group not in ("", "Options"):
                lines += [".PP", f".I {group}"]
            for option in options:
                names = [roff(each) for each in option["names"]]
                value = option["value"] and f"\\fI{option['value']}\\fR"
                lines += [".TP", ", ".join(names) + blank_of(option) + value]
                lines.append(roff(notes_of(option)))
    return "\n".join(lines) + "\n"


# ---- The user guide


def guide_options(table):
    lines = []
    for command in table:
        lines += [f"### {command['name'] or 'All commands'}", ""]
        lines += [f"`{command['usage']}`: {command['text'][:1].lower()}{command['text'][1:]}.", ""]
        lines += ["| option | what |", "|---|---|"]
        for options in by_group(command).values():
            for option in options:
                names = list(option["names"]) or [option["value"]]
                if option["names"] and option["value"]:
                    names[-1] += blank_of(option) + option["value"]
                cells = [", ".join(f"`{name}`" for name in names), notes_of(option)]
                lines.append("| " + " | ".join(c.replace("|", "\\|") for c in cells) + " |")
        lines.append("")
    return "\n".join(lines)


# ---- Completion


def takes(option):
    """What completes a value: its kind, and the words that are known."""
    kind = option["complete"]
    if "[," in option["value"]:
        kind = "list"
    return " ".join([kind or ("words" if option["words"] else "none"), *option["words"]])


def completion_table(table):
    lines = ["_nvqscan_table() {", "    commands='' options='' places=() takes=''", "    case $1 in"]
    for command in table:
        names = [name for option in command["options"] for name in option["names"]]
        places = [f"'{takes(option)}'" for option in command["options"] if not option["names"]]
        lines.append(f"        '{command['name']}')")
        if command["commands"]:
            lines.append(f"            commands='{' '.join(command['commands'])}'")
        lines += [f"            options='{part}'" if i == 0 else f"            options+=' {part}'"
                  for i, part in enumerate(textwrap.wrap(" ".join(names), 76,
                                                         break_on_hyphens=False))]
        if places:
            lines.append(f"            places=({' '.join(places)})")
        values = {}
        for option in command["options"]:
            if blank_of(option):
                values.setdefault(takes(option), []).extend(option["names"])
        if values:
            lines.append("            case $2 in")
            for what, names in values.items():
                pattern = textwrap.wrap(" | ".join(names), 72, break_on_hyphens=False)
                lines.append(16 * " " + f" \\\n{20 * ' '}".join(pattern) + f") takes='{what}' ;;")
            lines.append("            esac")
        lines.append("            ;;")
    return "\n".join(lines + ["    esac", "}"]) + "\n"


# ---- Writing and checking

PARTS = {
    (MAN, "synopsis"): man_synopsis,
    (MAN, "options"): man_options,
    (GUIDE, "options"): guide_options,
    (COMPLETION, "options"): completion_table,
}


def made_anew(path, text, table):
    for (where, part), make in PARTS.items():
        if where != path:
            continue
        mark = re.compile(rf"(^[^\n]*BEGIN {part}\b[^\n]*\n).*?(^[^\n]*END {part}\b)", re.M | re.S)
        if not mark.search(text):
            sys.exit(f"{path}: has no 'BEGIN {part}' and 'END {part}'")
        blank = "\n" if path == GUIDE else ""
        text = mark.sub(lambda m: m.group(1) + blank + make(table) + m.group(2), text, count=1)
    return text


def completed(command):
    """What bash offers behind the command for a '-'."""
    words = " ".join([PROGRAM, *command.split(), "-"])
    script = (f"source {COMPLETION}; COMP_WORDS=({words}); COMP_CWORD=$((${{#COMP_WORDS[@]}} - 1));"
              "_nvqscan; printf '%s\\n' \"${COMPREPLY[@]}\"")
    return run("bash", "-c", script).stdout.split()


def lacking(program, table):
    """Options that people don't meet somewhere."""
    shown = run("groff", "-man", "-Tutf8", "-ww", "-P-cbou", MAN)
    if shown.stderr:
        yield f"{MAN}: {shown.stderr}"
    manual = re.sub("[‐−]", "-", shown.stdout)
    guide = open(GUIDE, encoding="utf-8").read()
    for command in table:
        texts = {"--help": run(program, "help", *command["name"].split()).stdout}
        heading = re.escape(command["name"] or "All commands")
        for path, text, pattern in ((MAN, manual, rf"^   {heading}\n(.*?)(?=^ {{0,3}}\S)"),
                                    (GUIDE, guide, rf"^### {heading}\n(.*?)(?=^#|\Z)")):
            found = re.search(pattern, text, re.M | re.S)
            texts[path] = found.group(1) if found else ""
        texts[COMPLETION] = " ".join(completed(command["name"]))
        for option in command["options"]:
            for name in option["names"]:
                for place, text in texts.items():
                    if not re.search(rf"(?<![\w-]){re.escape(name)}(?![\w-])", text):
                        yield f"{place}: nothing of '{command['name']}' {name}"


def main():
    program = sys.argv[1]
    table = json.loads(run(program, "help", "--table").stdout)["commands"]
    is_fix = "--fix" in sys.argv[2:]
    failed = False
    for path in dict.fromkeys(path for path, _ in PARTS):
        text = open(path, encoding="utf-8").read()
        made = made_anew(path, text, table)
        if made != text and is_fix:
            open(path, "w", encoding="utf-8").write(made)
        elif made != text:
            failed = True
            sys.stdout.writelines(difflib.unified_diff(
                text.splitlines(True), made.splitlines(True), path, "what the program tells"))
    for line in lacking(program, table):
        failed = True
        print(line, file=sys.stderr)
    if failed:
        sys.exit("out of date: scripts/check-options --fix")


main()
