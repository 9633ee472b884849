# A device database on disk. docs/file-format.md tells the whole file: a few bytes, a message of Header, and a message
# for each section.
#
# Modules, ports, instances and nets are told by their numbers, from 0, in the order of the rows; 0xffffffff is none. A
# name is told by where it begins among the bytes of the names of its section, and ends before a NUL. A long list is cut
# in chunks, lists in a list, which follow each other; a list without elements has no chunk. Rows of a fixed size are
# read in place, so a field is never added to one: a new version has a new row.
@0xd4cbb0b2ab45a1c3;

using Cxx = import "/capnp/c++.capnp";
$Cxx.namespace("KEP_CAPNP");

struct Header {
  madeBy @0 :Text;           # program and version
  sections @1 :List(Section);
  counts @2 :List(Count);    # what is in the database
  inputs @3 :List(Input);    # the files that it was made from
  options @4 :List(Option);  # those that had a say in the result
  counters @5 :List(Count);  # of the build
}

struct Section {
  name @0 :Text;
  begin @1 :UInt64;     # in bytes, from the first of the file
  numBytes @2 :UInt64;
  checksum @3 :UInt64;  # XXH3, 64 bits
}

struct Count {
  name @0 :Text;
  value @1 :UInt64;
}

struct Input {
  role @0 :Text;  # "model", "routing" or "redundancy"
  name @1 :Text;  # without folders
  numBytes @2 :UInt64;
  checksum @3 :UInt64;
}

struct Option {
  name @0 :Text;
  value @1 :Text;
}

# The section "model": each module once.

struct Model {
  top @0 :UInt32;                     # module
  dbType @1 :UInt8;
  names @2 :List(Data);
  modules @3 :List(List(Module));
  # Module by module.
  ports @4 :List(List(Port));
  instances @5 :List(List(Instance));
  netNames @6 :List(List(UInt32));
  instPortNets @7 :List(List(UInt32));  # instance by instance, in the order of the master's ports: the net in the module
}

struct Module {
  key @0 :UInt32;
  name @1 :UInt32;
  equivalents @2 :UInt32;  # number of the group
  numPorts @3 :UInt32;
  numInstances @4 :UInt32;
  numNets @5 :UInt32;
  view @6 :UInt8;          # 0 LOGICAL, 1 VIEW_1, 2 BLC, 3 LOGICAL_TWIN
  marks @7 :UInt8;         # 1 IP root, 2 trait 0, 4 BLC bidir buffer, 8 foreign, 16 top of a device
}

struct Port {
  name @0 :UInt32;
  blcIcdPortName @1 :UInt32;
  blcReIndex @2 :Int32;
  net @3 :UInt32;          # in the module
  direction @4 :UInt8;     # 0 input, 1 output, 2 bidir
}

struct Instance {
  name @0 :UInt32;
  master @1 :UInt32;
  marks @2 :UInt8;         # 1 inst header, 2 trait 0, 4 BLC atom, 8 BLC inserted buffer
}

# The section "positions": all inner occurrences, occurrences of modules that hold instances or nets. Number 0 stands
# above the tops; the inner children of one stand side by side.

struct Positions {
  occurrences @0 :List(List(Occurrence));
}

struct Occurrence {
  number @0 :UInt64;      # in depth-first order of all occurrences, inner or not
  parent @1 :UInt32;
  slot @2 :UInt32;        # in the parent's module: its instances in order, for each the views of the master
  firstChild @3 :UInt32;
  module @4 :UInt32;      # the number of modules for number 0
}

# The section "description".

struct Description {
  isInitialized @0 :Bool;
  pattern @1 :UInt32;     # name
  names @2 :List(Data);
  routingRoots @3 :List(List(UInt32));
  muxes @4 :List(List(Mux));
  skipExceptions @5 :List(List(SkipException));
  arcs @6 :List(List(Arc));
  flyovers @7 :List(List(Flyover));
  portMarks @8 :List(Data);         # 1, 2, 3 the kind of hipi; 4 inserted, 8 removed node, 16 no merge, 32 a wire type
  tunnels @9 :List(Data);           # by module: 0 none, 1 source, 2 through, 3 target
  notTemplate @10 :List(List(UInt32));
  insertedNodes @11 :List(List(InsertedNode));
  wireTypes @12 :List(List(WireType));
  spareRows @13 :List(List(SpareRow));
}

# Ports are numbered over all modules here.
struct Mux {
  module @0 :UInt32;
  isSkip @1 :UInt32;
}
struct SkipException {
  mux @0 :UInt32;
  module @1 :UInt32;
  instance @2 :UInt32;
}
struct Arc {
  input @0 :UInt32;
  output @1 :UInt32;
  mux @2 :UInt32;
}
struct Flyover {
  input @0 :UInt32;
  output @1 :UInt32;
}
struct InsertedNode {
  port @0 :UInt32;
  name @1 :UInt32;
}
# A relative path: the module it starts in, the upper and the lower half of the difference of the numbers of occurrences,
# the port and one.
struct WireType {
  module @0 :UInt32;
  upper @1 :UInt32;
  lower @2 :UInt32;
  port @3 :UInt32;
  name @4 :UInt32;
  flags @5 :UInt32;
}
struct SpareRow {
  occurrence @0 :UInt32;  # that holds the instance
  instance @1 :UInt32;
  isSpareRow @2 :UInt32;
}

# The section "paths": named tables of relative paths.

struct Paths {
  names @0 :List(Data);
  tables @1 :List(List(PathTable));
  modules @2 :List(List(PathModule));  # table by table
  paths @3 :List(List(Path));          # module by module
}

struct PathTable {
  name @0 :UInt32;
  numModules @1 :UInt32;
}
struct PathModule {
  module @0 :UInt32;
  numPaths @1 :UInt32;
}
struct Path {
  module @0 :UInt32;
  upper @1 :UInt32;
  lower @2 :UInt32;
  port @3 :UInt32;
}

# The section "graph". Nodes stand at places, numbered for folding; place 0 is that of the boundary nodes. A node is the
# pair of its place and its rank among the keys of the place's module: twice the number of an inst port, and one more
# for a hipi twin. Nodes are numbered by place, then by rank.

struct Graph {
  # By blocks of 64 occurrences: which have a place, and how many have one before the block.
  placedOccurrences @0 :List(List(Marks));
  places @1 :List(List(UInt32));       # of these occurrences, in order
  occurrences @2 :List(List(UInt32));  # by place
  firstNodes @3 :List(List(UInt32));   # by place: the number of its first node; and of all nodes
  nearPlaces @4 :List(List(UInt32));   # the places of the nodes 0, 64, 128, ... and of the last one
  # Places that have no node of some rank; where the ranks of their nodes begin; these ranks.
  lacking @5 :List(List(Marks));
  firstRanks @6 :List(List(UInt32));
  ranks @7 :List(List(UInt32));
  # By module, boundary nodes behind them, and one more: where the keys begin; the keys.
  firstKeys @8 :List(List(UInt32));
  keys @9 :List(List(UInt32));

  # A node has a shape, its lists of edges. By place: where the shapes of its ranks begin in the next list.
  pages @10 :List(List(UInt32));
  widthOfShapes @11 :UInt8;            # bytes of each number, lowest first; four more bytes follow the last
  shapesOfNodes @12 :List(Data);
  shapes @13 :List(List(Shape));
  fanouts @14 :List(List(UInt64));     # words
  muxInputs @15 :Words;                # of the fanouts
  fanins @16 :Words;
  numTemplates @17 :UInt64;
  numEdges @18 :UInt64;
  numRealEdges @19 :UInt64;
}

struct Marks {
  bits @0 :UInt64;
  numBefore @1 :UInt32;
}

struct Shape {
  firstFanout @0 :UInt32;
  firstFanin @1 :UInt32;
  numReal @2 :UInt16;      # fanouts, which stand first
  numFanouts @3 :UInt16;
  numFanins @4 :UInt16;
  hasAbsolute @5 :UInt16;  # 1 where some fanout is told absolutely
}

# A list of words of which each distinct one is kept once; without numbers the words are the list.
#
# The word of a fanout or fanin: its upper half is the place of the other node less that of this one, modulo 2^32; its
# lower half the rank and one. With bit 31 set, the upper half is the place itself.
#
# The word of a mux input: 2^31 is none. With an upper half of 0 the lower one is the number of its inst port less that
# of the fanout, modulo 2^32, at the same occurrence; else the upper half is its occurrence and the lower one the number.
struct Words {
  width @0 :UInt8;
  numbers @1 :List(Data);
  words @2 :List(List(UInt64));
}
