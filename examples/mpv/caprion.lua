-- Fetches the subtitle of the file that is playing, and shows it. README.md describes the keys and options.

local options = require("mp.options")
local utils = require("mp.utils")

local opts = {
  language = "eng",
  command = "caprion",
  force = false,
}
options.read_options(opts, "caprion", function() end)  -- given a function, mpv updates opts when the options change

-- errno values if a file can't be created in a folder: EPERM, EACCES, ENOSPC, EROFS and EDQUOT.
local turned_down = { [1] = true, [13] = true, [28] = true, [30] = true, [122] = true }

local running  -- the current fetch: its video, its command, when it began, and the timer of its message

local function show(text, seconds)
  -- A description may be a server's whole answer, with any characters.
  text = text:gsub("%c+", " ")
  if #text > 200 then text = text:sub(1, 200):gsub("[\194-\244][\128-\191]*$", "") .. "…" end
  mp.osd_message("Subtitle: " .. text, seconds or 4)
  return text
end

local function complain(text)
  mp.msg.error(show(text, 6))
end

local function absolute(path)
  return (utils.join_path(mp.get_property("working-directory", ""), path):gsub("/%./", "/"))
end

-- The path of the file that is playing; nil if it isn't a file on this machine.
local function local_file()
  local path = mp.get_property("path", "")
  local encoded = path:match("^file://(/.*)")
  if encoded then
    path = encoded:gsub("%%(%x%x)", function(digits) return string.char(tonumber(digits, 16)) end)
  elseif path:find("^%a[%w+.-]*://") then
    return nil
  end
  path = absolute(path)
  local info = utils.file_info(path)
  return info and info.is_file and path or nil
end

-- The user's cache folder for the subtitles of videos in `folder`, created if necessary; nil if that fails.
local function substitute_for(folder)
  local cache = os.getenv("XDG_CACHE_HOME") or ""
  if cache:sub(1, 1) ~= "/" then cache = (os.getenv("HOME") or "") .. "/.cache" end
  local path = cache .. "/caprion-mpv" .. folder
  local made = mp.command_native({
    name = "subprocess", args = { "mkdir", "-p", "--", path }, playback_only = false, capture_stderr = true,
  })
  return made and made.status == 0 and path or nil
end

local function select_subtitle(file)
  for _, track in ipairs(mp.get_property_native("track-list", {})) do
    local other = track.type == "sub" and track["external-filename"]
    if other and absolute(other) == file then mp.commandv("sub-remove", track.id) end
  end
  return mp.commandv("sub-add", file, "select")
end

-- The record with the subtitle's path, if any, and the last error in the command's output.
local function outcome_of(lines)
  local found, failure
  for line in lines:gmatch("[^\n]+") do
    local record = utils.parse_json(line)
    if type(record) == "table" and record.subtitle then found = record end
    if type(record) == "table" and record.error then failure = record.error end
  end
  return found, failure
end

local fetch

local function finish(fetched, folder, result, reason)
  if running ~= fetched then return end  -- cancelled
  running = nil
  fetched.timer:kill()
  if not result or result.error_string == "init" then
    return complain("can't run " .. opts.command .. (reason and ": " .. reason or "; is it installed?"))
  end

  local found, failure = outcome_of(result.stdout)
  if found and local_file() ~= fetched.video then
    mp.msg.info(show("placed at " .. found.subtitle))
  elseif found and not select_subtitle(found.subtitle) then
    complain("can't be loaded: " .. found.subtitle)
  elseif found then
    local _, name = utils.split_path(found.subtitle)
    mp.msg.info(show(name .. (found.subtitleID and "" or " (was there already)")))
  elseif failure and failure.domain == "NSPOSIXErrorDomain" and turned_down[failure.code] and not folder then
    local parent = utils.split_path(fetched.video)
    folder = substitute_for(parent)
    if not folder then return complain(failure.description) end
    fetch(fetched.video, folder)
  elseif failure and result.status ~= 1 then
    complain(failure.description or "failed with code " .. failure.code)
  elseif failure then
    mp.msg.info(show("none found (" .. opts.language .. ")"))
  else
    complain(result.stderr:match("[^\n]+") or "the command ended with status " .. result.status)
  end
end

-- Runs the command for a video. The subtitle goes to the folder if one is given, else next to the video.
function fetch(video, folder)
  local args = { mp.command_native({ "expand-path", opts.command }), "get", "--json", "--quiet", "-l", opts.language }
  if opts.force then table.insert(args, "--force") end
  if folder then
    table.insert(args, "-o")
    table.insert(args, folder)
  end
  table.insert(args, video)

  local fetching = { video = video, begin = mp.get_time() }
  local function progress()
    local seconds = math.floor(mp.get_time() - fetching.begin)
    show(string.format("fetching (%s), %d s; press again to cancel", opts.language, seconds), 2)
  end
  running = fetching
  fetching.timer = mp.add_periodic_timer(1, progress)
  progress()
  fetching.command = mp.command_native_async({
    name = "subprocess", args = args, playback_only = false,
    capture_stdout = true, capture_stderr = true, capture_size = 1024 * 1024,
  }, function(_, result, reason) finish(fetching, folder, result, reason) end)
end

-- Cancels the current fetch, if any.
local function cancel()
  local fetched = running
  running = nil
  if not fetched then return false end
  fetched.timer:kill()
  mp.abort_async_command(fetched.command)
  return true
end

local function get_subtitle()
  if cancel() then return show("cancelled") end
  local video = local_file()
  if not video then return complain("only files on this machine have one to fetch") end
  fetch(video)
end

mp.add_key_binding("Ctrl+d", "get-subtitle", get_subtitle)
mp.register_event("shutdown", cancel)  -- else the player would wait for the command
