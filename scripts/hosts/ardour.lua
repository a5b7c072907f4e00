-- Runs in ardour7-lua, without a window. STEP says what is done with the session in folder SESSION:
--   make      a new one, with the stereo tracks "wet" and "dry"
--   rest      PLUGIN on "wet" where it changes nothing, and "dry" inverted: what is left is what isn't aligned
--   automate  PLUGIN's threshold moves, "dry" is silent
--   save      loaded and saved as it is
-- FORMAT is LV2 or VST; PLUGIN is a URI or a number.

local folder, step = os.getenv("SESSION"), os.getenv("STEP")
AudioEngine:set_backend("None (Dummy)", "", ""):set_sample_rate(48000)

local session
if step == "make" then
  session = create_session(folder, "check", 48000)
  assert(session, "no session")
  if session:master_out():isnil() then
    session:add_master_bus(ARDOUR.ChanCount(ARDOUR.DataType("audio"), 2))
  end
  for _, name in ipairs({"wet", "dry"}) do
    session:new_audio_track(2, 2, nil, 1, name, ARDOUR.PresentationInfo.max_order, ARDOUR.TrackMode.Normal, true)
  end
else
  session = load_session(folder, "check")
  assert(session, "no session")
end

-- The plug-in on "wet", and of the parameter with that name the number among the controls and in the plug-in.
local function find(parameter)
  local wet = session:route_by_name("wet")
  if wet:nth_plugin(0):isnil() then
    local kind = os.getenv("FORMAT") == "VST" and ARDOUR.PluginType.LXVST or ARDOUR.PluginType.LV2
    local made = ARDOUR.LuaAPI.new_plugin(session, os.getenv("PLUGIN"), kind, "")
    assert(not made:isnil(), "no plug-in")
    wet:add_processor_by_index(made, 0, nil, true)
  end
  local processor = wet:nth_plugin(0)
  local plug = processor:to_insert():plugin(0)
  local controls = 0
  for id = 0, plug:parameter_count() - 1 do
    if plug:parameter_is_control(id) then
      if plug:parameter_is_input(id) and plug:parameter_label(id) == parameter then
        return processor, controls, id
      end
      controls = controls + 1
    end
  end
  error("no " .. parameter)
end

if step == "rest" or step == "automate" then
  local dry = session:route_by_name("dry")
  local processor, control, id = find(step == "rest" and "Ratio" or "Threshold")
  local _, points, range = ARDOUR.LuaAPI.plugin_automation(processor, control)
  print("latency " .. processor:to_insert():signal_latency() .. ", " .. range.lower .. " to " .. range.upper)
  local everyone = PBD.GroupControlDisposition.NoGroup
  if step == "rest" then
    ARDOUR.LuaAPI.set_processor_param(processor, control, range.lower) -- 1:1
    for channel = 0, 1 do
      dry:phase_control():set_phase_invert(channel, true)
    end
  else
    local ratio, ratioControl = find("Ratio")
    local _, _, ratios = ARDOUR.LuaAPI.plugin_automation(ratio, ratioControl)
    ARDOUR.LuaAPI.set_processor_param(ratio, ratioControl, ratios.lower + 0.35 * (ratios.upper - ratios.lower))
    dry:gain_control():set_value(0, everyone)
    points:clear_list()
    for second = 0, 5 do
      local part = second % 2 == 0 and 0.2 or 0.8
      local at = Temporal.timepos_t(second * 48000)
      points:add(at, range.lower + part * (range.upper - range.lower), false, true)
    end
    local threshold = Evoral.Parameter(ARDOUR.AutomationType.PluginAutomation, 0, id)
    processor:to_automatable():automation_control(threshold, true):set_automation_state(ARDOUR.AutoState.Play)
  end
  for _, route in ipairs({session:route_by_name("wet"), dry}) do -- which a session without a window forgets
    for channel = 0, 1 do
      route:output():audio(channel):connect("Master/audio_in " .. channel + 1)
    end
  end
end

session:save_state("")
close_session()
quit()
