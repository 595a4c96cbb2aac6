"""The library managed as a person would, through the accessible controls alone: the window
opened from the tray menu; a category and a snippet made through their sheets; the snippet's
rich text written in the editor with bold from the formatting bar and a fill-in field from the
macro picker, saved with Ctrl+S; moved into the category; found by search; expanded in another
application with the form filled; deleted with the Delete key, found in Recently Deleted with
its 30 days, restored, deleted again and deleted for good. The store is checked through the
command line."""

import re

from scrivlane_a11y import Failure, run, wait_until


def snippet(session, abbreviation, *flags):
    for s in session.cli_json("snippet", "list", *flags):
        if s.get("abbreviation") == abbreviation:
            return s
    return None


def main(session):
    app = session.start_scrivlane()
    app.wait_for_log("watching the keyboard")

    # A second start opens the running one's window and leaves; closing it keeps the app.
    session.cli("--show")
    app.wait_window("ScrivLane")
    session.xdotool("windowactivate", "--sync", session.find_window("ScrivLane"))
    session.key("alt+F4")
    app.wait_window_gone("ScrivLane")
    if app.process.poll() is not None:
        raise Failure("closing the window ended ScrivLane")

    session.open_tray_menu(app)
    app.press(app.wait_for("menu item", "Open Snippets"))
    window = app.wait_window("ScrivLane")
    app.wait_for("label", "No Snippets", within=window)  # the empty library says so

    # A category through its sheet.
    app.press(app.wait_for("push button", "New Category", within=window))
    sheet = app.wait_window("New Category")
    app.set_text(app.wait_for("text", "Name", within=sheet), "Travel")
    app.press(app.wait_for("push button", "Create", within=sheet))
    app.wait_window_gone("New Category")
    wait_until("Travel in the store",
               lambda: [c for c in session.cli_json("category", "list") if c["name"] == "Travel"])

    # A snippet through the new-snippet sheet; the editor opens on it.
    app.press(app.wait_for("push button", "Create Snippet", within=window))
    sheet = app.wait_window("New Snippet")
    app.set_text(app.wait_for("text", "Title", within=sheet), "Trip greeting")
    app.set_text(app.wait_for("text", "Abbreviation", within=sheet), ";trip")
    app.press(app.wait_for("push button", "Create", within=sheet))
    app.wait_window_gone("New Snippet")
    wait_until("the new snippet in the store", lambda: snippet(session, ";trip"))

    # The first snippet brings the one-time suggestion to keep the library safe.
    suggestion = app.wait_window("First snippet saved!")
    app.press(app.wait_for("push button", "Maybe Later", within=suggestion))
    app.wait_window_gone("First snippet saved!")

    # Rich text: "Dear " + bold "friend" + ", " + {fill:Name}.
    app.set_checked(app.wait_for("check box", "Rich Text", within=window))
    text = app.wait_for("text", "Expansion", within=window)
    app.focus(text)
    session.type_text("Dear ")
    app.press(app.wait_for(None, "Bold", within=window))
    app.focus(text)
    session.type_text("friend")
    app.press(app.wait_for(None, "Bold", within=window))
    app.focus(text)
    session.key("End")
    session.type_text(", ")
    app.press(app.wait_for(None, "Insert a macro", within=window))
    picker = app.wait_for(None, "Insert a macro", within=None, timeout=5)
    label = app.wait_for("text", "Label")
    app.set_text(label, "Name")
    app.press(app.wait_for("push button", "Insert fill-in field"))
    wait_until("the field in the editor", lambda: app.text(text).endswith("{fill:Name}"))
    app.focus(text)
    session.key("ctrl+s")
    stored = wait_until("the rich text saved",
                        lambda: (s := snippet(session, ";trip")) and s["isRichText"] and s)
    if stored["expandedText"] != "Dear friend, {fill:Name}":
        raise Failure(f"stored text is {stored['expandedText']!r}")

    # Moved into Travel with the editor's category picker, then saved.
    app.press(app.wait_for("combo box", None, within=window))
    app.click(app.wait_for("list item", "Travel"))
    app.focus(text)
    session.key("ctrl+s")
    wait_until("the snippet in Travel",
               lambda: (snippet(session, ";trip") or {}).get("categoryName") == "Travel")

    # Search finds it by a word of its text, whatever the case.
    search = app.wait_for("text", "Search snippets", within=window)
    app.set_text(search, "FRIEND")
    app.wait_for("list item", re.compile(r"^Trip greeting"), within=window)
    app.set_text(search, "nothing like it")
    app.wait_for("label", "No Snippets", within=window)
    app.set_text(search, "")

    # It expands in another application at once, bold and all.
    target = session.start_target("rich-target", rich=True)
    target.type("x;trip")
    form = app.wait_window("Complete Snippet")
    app.set_text(app.wait_for("text", "Name", within=form), "Ada")
    app.press(app.wait_for("push button", "Insert", within=form))
    app.wait_window_gone("Complete Snippet")
    html = wait_until("the expansion in the field",
                      lambda: "Ada" in target.text() and target.text())
    plain = re.sub(r"<[^>]+>", "", html.split("<body", 1)[-1]).replace("&nbsp;", " ")
    if "xDear friend, Ada" not in " ".join(plain.split()):
        raise Failure(f"the field holds {plain!r}")
    if not re.search(r"font-weight:\s*(700|bold)[^>]*>friend", html):
        raise Failure("'friend' arrived without bold")

    # Deleted with the Delete key on the selected row, after the question.
    session.xdotool("windowactivate", "--sync", session.find_window("ScrivLane"))
    row = app.wait_for("list item", re.compile(r"^Trip greeting"), within=window)
    app.click(row)
    session.key("Delete")
    question = app.wait_window('Delete "Trip greeting"?')
    app.press(app.wait_for("push button", "Delete", within=question))
    wait_until("the snippet in Recently Deleted",
               lambda: snippet(session, ";trip", "--trashed") and not snippet(session, ";trip"))

    # In Recently Deleted with all its 30 days; restored, it is back in the library.
    app.click(app.wait_for("list item", "Recently Deleted", within=window))
    trashed = re.compile(r"^Trip greeting.*30 days left")
    app.click(app.wait_for("list item", trashed, within=window))
    app.press(app.wait_for("push button", "Restore", within=window))
    wait_until("the snippet restored", lambda: snippet(session, ";trip"))

    # Deleted again, then for good from Recently Deleted.
    app.click(app.wait_for("list item", "All Snippets", within=window))
    app.click(app.wait_for("list item", re.compile(r"^Trip greeting"), within=window))
    session.key("Delete")
    question = app.wait_window('Delete "Trip greeting"?')
    app.press(app.wait_for("push button", "Delete", within=question))
    wait_until("the snippet deleted again", lambda: snippet(session, ";trip", "--trashed"))
    app.click(app.wait_for("list item", "Recently Deleted", within=window))
    app.click(app.wait_for("list item", trashed, within=window))
    app.press(app.wait_for("push button", "Delete Permanently", within=window))
    wait_until("the snippet gone for good", lambda: not snippet(session, ";trip", "--all"))


if __name__ == "__main__":
    run(main)
