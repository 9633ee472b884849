-- Makes a man page of a command's page, as a filter of pandoc: sections in capitals, options as a list of terms, links
-- by their text, and tables and samples that fit a terminal of 80 columns. Other pages are named, and at the end it is
-- told where they lie: in `docdir`, metadata, below the prefix.

local WIDTH = 71 -- of a line of a sample: the terminal, less the indents of the page and of the sample

-- `-o FILE` as a manual has it: what is typed in bold, what stands for something else slanted.
local function format_term(code)
  local inlines = pandoc.List()
  for word in code:gmatch("%S+") do
    if #inlines > 0 then inlines:insert(pandoc.Space()) end
    inlines:insert(word:match("^%-") and pandoc.Strong(word) or pandoc.Emph(word))
  end
  return inlines
end

-- The two parts of an item "`term`: text"; nothing of another one.
local function split_item(blocks)
  local first = blocks[1].content
  if not first or #first < 3 or first[1].t ~= "Code" or first[2].t ~= "Str" or first[2].text ~= ":" then return end
  local text = pandoc.List({table.unpack(first, first[3].t == "Space" and 4 or 3)})
  return format_term(first[1].text), pandoc.Para(text)
end

function BulletList(list)
  local items = pandoc.List()
  for _, blocks in ipairs(list.content) do
    local term, text = split_item(blocks)
    if not term then return nil end
    items:insert({term, {{text}}})
  end
  return pandoc.DefinitionList(items)
end

-- A table of questions and answers, likewise.
function Table(content)
  local items = pandoc.List()
  for _, row in ipairs(pandoc.utils.to_simple_table(content).rows) do
    items:insert({row[1][1].content, {row[2]}})
  end
  return pandoc.DefinitionList(items)
end

-- Breaks a line at blanks. A command goes on behind a backslash, as the shell wants it.
local function fold(line, lines)
  local go_on = line:match("^%$ ") and " \\" or ""
  local indent = line:match("^ *") .. "    "
  while #line > WIDTH do
    local cut = line:sub(#indent + 1, WIDTH - #go_on + 1):match("^.*%S() ")
    if not cut then break end
    lines:insert(line:sub(1, #indent + cut - 1) .. go_on)
    line = indent .. line:sub(#indent + cut + 1)
  end
  lines:insert(line)
end

local ESCAPES = {["\\"] = "\\e", ["-"] = "\\-", ["'"] = "\\(aq", ["`"] = "\\(ga", ["^"] = "\\(ha", ["~"] = "\\(ti"}

function CodeBlock(block)
  local lines = pandoc.List()
  for line in (block.text .. "\n"):gmatch("(.-)\n") do fold(line, lines) end
  local text = table.concat(lines, "\n"):gsub("[\\%-'`^~]", ESCAPES):gsub("\n%.", "\n\\&."):gsub("^%.", "\\&.")
  return pandoc.RawBlock("man", ".RS 2\n.PP\n.EX\n" .. text .. "\n.EE\n.RE")
end

local names_pages = false

-- A page of a command is a man page; of another one the place is told.
function Link(link)
  local page = link.target:match("^([%w%-]+)%.md$")
  if page then return {pandoc.Strong(page == "kep-rg" and page or "kep-rg-" .. page), pandoc.Str("(1)")} end
  local place = link.target:match("^%.%./([%w%-]+%.md)")
  if place then
    names_pages = true
    link.content:extend({pandoc.Space(), pandoc.Str("(docs/" .. place .. ")")})
  end
  return link.content
end

function Pandoc(page)
  if names_pages and page.meta.docdir then
    local folder = pandoc.utils.stringify(page.meta.docdir)
    local text = "Pages in docs/ lie in /usr/" .. folder .. " where a Debian package installed them, or else in " .. folder
      .. " below the prefix."
    page.blocks:insert(pandoc.Para(pandoc.Str(text)))
  end
  return page
end

function Header(header)
  if header.level == 1 then return {} end
  return pandoc.Header(1, pandoc.text.upper(pandoc.utils.stringify(header)))
end
