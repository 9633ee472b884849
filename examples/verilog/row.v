// Four tiles in a row between two pads on the west and two on the east. Two tracks lead from each tile to the
// next one; the cell of logic in a tile takes its inputs from the tracks that come in and can drive both that go
// out.

// A mux of the routing: a black box, since what it holds is no matter to the graph.
(* blackbox *)
module mux3 (input [2:0] in, output out);
endmodule

(* blackbox *)
module mux2 (input [1:0] in, output out);
endmodule

// The cell of logic. A signal may pass through it, so there is an arc from each input to the output.
(* blackbox *)
module lut2 (input a, input b, output o);
endmodule

// The cells with inst headers are those whose outputs become nodes. The hierarchy stays even in a script that
// flattens: kep-rg wants each module once.
(* keep_hierarchy *)
module tile (input [1:0] west, output [1:0] east);
  wire a, b, o;
  (* kep_inst_header *) mux3 track0 (.in({o, west}), .out(east[0]));
  (* kep_inst_header *) mux3 track1 (.in({o, west}), .out(east[1]));
  (* kep_inst_header *) mux2 pick_a (.in(west), .out(a));
  (* kep_inst_header *) mux2 pick_b (.in(west), .out(b));
  (* kep_inst_header *) lut2 lut (.a(a), .b(b), .o(o));
endmodule

// Of this type, the ports of the top are nodes, too.
(* kep_db_type = 1 *)
module row (input [1:0] west, output [1:0] east);
  wire [9:0] track;
  assign track[1:0] = west;
  assign east = track[9:8];
  genvar i;
  generate
    for (i = 0; i < 4; i = i + 1) begin : at
      tile t (.west(track[2*i+1:2*i]), .east(track[2*i+3:2*i+2]));
    end
  endgenerate
endmodule
