// The row of row.v as a generator writes it: no attributes, muxes and cells of logic with all that is in
// them, and a chain of flip-flops that holds the configuration.

module mux_3 (input [2:0] in, input [1:0] sel, output reg out);
  always @*
    case (sel)
      2'd0: out = in[0];
      2'd1: out = in[1];
      default: out = in[2];
    endcase
endmodule

module mux_2 (input [1:0] in, input sel, output out);
  assign out = sel ? in[1] : in[0];
endmodule

module lut_2 (input a, input b, input [3:0] truth, output o);
  assign o = truth[{b, a}];
endmodule

// The configuration of a mux: no mux, though it is named like one.
module mux_mem #(parameter WIDTH = 1) (input clk, input head, output reg [WIDTH-1:0] q, output tail);
  always @(posedge clk) q <= {q, head};
  assign tail = q[WIDTH-1];
endmodule

module lut_mem (input clk, input head, output reg [3:0] q, output tail);
  always @(posedge clk) q <= {q[2:0], head};
  assign tail = q[3];
endmodule

module tile (input clk, input enable, input head, output tail, input [1:0] west, output [1:0] east);
  wire a, b, o;
  wire [1:0] sel_0, sel_1;
  wire sel_a, sel_b;
  wire [3:0] truth;
  wire [4:0] chain;
  wire gated = clk & enable;  // of this, Yosys makes a cell

  mux_3 track0 (.in({o, west}), .sel(sel_0), .out(east[0]));
  mux_3 track1 (.in({o, west}), .sel(sel_1), .out(east[1]));
  mux_2 pick_a (.in(west), .sel(sel_a), .out(a));
  mux_2 pick_b (.in(west), .sel(sel_b), .out(b));
  lut_2 lut (.a(a), .b(b), .truth(truth), .o(o));

  mux_mem #(.WIDTH(2)) mem_0 (.clk(gated), .head(head), .q(sel_0), .tail(chain[0]));
  mux_mem #(.WIDTH(2)) mem_1 (.clk(gated), .head(chain[0]), .q(sel_1), .tail(chain[1]));
  mux_mem mem_a (.clk(gated), .head(chain[1]), .q(sel_a), .tail(chain[2]));
  mux_mem mem_b (.clk(gated), .head(chain[2]), .q(sel_b), .tail(chain[3]));
  lut_mem mem_lut (.clk(gated), .head(chain[3]), .q(truth), .tail(tail));
endmodule

module fabric (input clk, input enable, input head, output tail, input [1:0] west, output [1:0] east);
  wire [9:0] track;
  wire [4:0] chain;
  assign track[1:0] = west;
  assign east = track[9:8];
  assign chain[0] = head;
  assign tail = chain[4];
  genvar i;
  generate
    for (i = 0; i < 4; i = i + 1) begin : at
      tile t (.clk(clk), .enable(enable), .head(chain[i]), .tail(chain[i+1]),
              .west(track[2*i+1:2*i]), .east(track[2*i+3:2*i+2]));
    end
  endgenerate
endmodule
