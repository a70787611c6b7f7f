// devprep picture: the machine as a picture.
#include <iostream>
#include <memory>
#include <string>

#include "commands.h"
#include "machine.h"
#include "output.h"
#include "picture.h"
#include "picture_model.h"
#include "picture_parts.h"

namespace devprep::tool {
namespace {

struct Choices {
  std::string file_name;
  bool plan = false;
  bool follow_identity = false;
  bool force = false;
};

Result<ExitStatus> DrawMachine(const Options& options, Choices choices) {
  const bool html = IsHtmlName(choices.file_name);
  if (choices.file_name.empty()) {
    if (TerminalWidth() != 0) {
      return Error{"a picture is not for a terminal: name a FILE.svg or FILE.html"};
    }
    choices.file_name = "-";
  }
  PictureModel model;
  const Result<> done = InSession(options, Needs::kConfiguration, [&]() -> Result<> {
    if (!choices.plan) {
      model = ModelMachine();
      return {};
    }
    Result<PictureModel> planned = ModelPlan(choices.follow_identity);
    if (!planned) return planned.Failure();
    model = *std::move(planned);
    return {};
  });
  if (!done) return done.Failure();
  const Picture picture = DrawPicture(model);
  const Result<> saved =
      SavePicture(choices.file_name,
                  html ? PictureHtml(model, picture) : PictureSvg(model, picture), choices.force);
  if (!saved) return saved.Failure();
  return ExitStatus::kDone;
}

}  // namespace

Result<> SavePicture(const std::string& file_name, const std::string& picture, bool force) {
  const Result<bool> saved = SaveFile(file_name, picture, force, FileKind::kPicture);
  if (!saved) return saved.Failure();
  if (!*saved) std::cout << "Picture written to " << file_name << ".\n";
  return {};
}

void AddPictureCommand(CLI::App& app, Invocation& invocation) {
  CLI::App* command = app.add_subcommand(
      "picture", "Draw the machine: ports, changers with their drives, groups and RAIDs");
  const auto choices = std::make_shared<Choices>();
  command
      ->add_option("file", choices->file_name,
                   "File to write, named .svg or .html; - for SVG on standard output")
      ->option_text("FILE")
      ->check(CheckPictureName);
  auto* plan = command->add_flag("--plan", choices->plan,
                                 "Draw what 'configure' would do: before, after and the dangers");
  command
      ->add_flag("--follow-identity", choices->follow_identity,
                 "As with 'plan': keep each number's settings and memberships with its device")
      ->needs(plan);
  command->add_flag("--force", choices->force, "Replace whatever file is there");
  OnCommand(command, invocation,
            [&invocation, choices] { return DrawMachine(invocation.options, *choices); });
}

}  // namespace devprep::tool
